#include "app/single_instance.h"

#include "app/instance_message.h"

#include <QDeadlineTimer>
#include <QFileInfo>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>

#include <cerrno>
#include <csignal>
#include <optional>
#include <utility>

Q_LOGGING_CATEGORY(lcInstance, "scrivlet.instance")

namespace {

QString lockPath(const QString &directory)
{
    return directory + QStringLiteral("instance.lock");
}

QString socketPath(const QString &directory)
{
    return directory + QStringLiteral("instance.socket");
}

// Reads what has arrived, up to one byte past the limit; false once the message is too large to be one of ours.
bool readWithinLimit(QLocalSocket &socket, QByteArray &message)
{
    message += socket.read(maximumInstanceMessageSize + 1 - message.size());
    return message.size() <= maximumInstanceMessageSize;
}

// Whether a live process holds the lock: the one named in the lock file still runs, or the file names nobody yet
// (its holder made it and has not written its id). A process of another user that took the id of a holder that
// died still counts; the time limit ends that wait.
bool lockIsHeld(const QString &directory)
{
    const QLockFile lock(lockPath(directory)); // only read, to learn who holds it
    qint64 pid = 0;
    QString hostName;
    QString appName;
    if (!lock.getLockInfo(&pid, &hostName, &appName) || pid <= 0)
        return QFileInfo::exists(lockPath(directory));
    return ::kill(static_cast<pid_t>(pid), 0) == 0 || errno == EPERM;
}

} // namespace

SingleInstance::SingleInstance(const QString &directory) : m_directory(directory), m_lock(lockPath(directory)) {}

std::unique_ptr<SingleInstance> SingleInstance::claim(const QString &directory)
{
    std::unique_ptr<SingleInstance> instance(new SingleInstance(directory));
    // A lock whose owner died is taken over; only a live owner keeps us out.
    instance->m_lock.setStaleLockTime(std::chrono::milliseconds::zero());
    if (!instance->m_lock.tryLock(std::chrono::milliseconds::zero()))
        return nullptr;
    return instance;
}

void SingleInstance::listen()
{
    // We hold the lock, so a socket file there was left by a process that crashed; it would make listen() fail.
    QLocalServer::removeServer(socketPath(m_directory));
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnections, Qt::UniqueConnection);
    if (!m_server.listen(socketPath(m_directory)))
        qCWarning(lcInstance) << "cannot listen for requests:" << m_server.errorString();
}

void SingleInstance::deliverRequests()
{
    // Queued: what the caller has already scheduled (the requests of our own command line) goes first.
    QMetaObject::invokeMethod(
        this,
        [this] {
            m_delivering = true;
            for (const QList<QUrl> &urls : std::exchange(m_heldRequests, {}))
                Q_EMIT urlsReceived(urls);
        },
        Qt::QueuedConnection);
}

void SingleInstance::receive(const QList<QUrl> &urls)
{
    if (m_delivering)
        Q_EMIT urlsReceived(urls);
    else
        m_heldRequests.append(urls);
}

void SingleInstance::acceptConnections()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        if (m_openConnections >= maximumConnections) {
            qCWarning(lcInstance) << "more than" << maximumConnections << "requests at once; refusing one";
            socket->abort();
            socket->deleteLater();
            continue;
        }
        ++m_openConnections;
        // The message read so far; empty once the connection is over, whichever way it ended.
        auto message = std::make_shared<std::optional<QByteArray>>(QByteArray());
        const auto close = [this, socket, message] {
            if (!message->has_value())
                return;
            message->reset();
            --m_openConnections;
            socket->abort(); // emits disconnected, which finds the connection over
            socket->deleteLater();
        };
        connect(socket, &QLocalSocket::readyRead, this, [socket, message, close] {
            if (message->has_value() && !readWithinLimit(*socket, **message)) {
                qCWarning(lcInstance) << "a request larger than" << maximumInstanceMessageSize << "bytes; dropped";
                close();
            }
        });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket, message, close] {
            if (!message->has_value())
                return;
            std::optional<QList<QUrl>> urls;
            if (readWithinLimit(*socket, **message))
                urls = decodeInstanceMessage(**message);
            close();
            if (urls && !urls->isEmpty())
                receive(*urls);
        });
        QTimer::singleShot(requestTimeLimit, socket, close);
    }
}

bool SingleInstance::forward(const QString &directory, const QList<QUrl> &urls)
{
    const QByteArray message = encodeInstanceMessage(urls);
    if (message.size() > maximumInstanceMessageSize) {
        qCWarning(lcInstance) << "the requests are larger than the running instance takes";
        return false;
    }
    const QDeadlineTimer deadline(forwardTimeLimit);
    QLocalSocket socket;
    while (true) {
        socket.connectToServer(socketPath(directory));
        if (socket.waitForConnected(500))
            break;
        socket.abort();
        // The instance takes the lock before it can listen; wait while it lives.
        if (deadline.hasExpired() || !lockIsHeld(directory))
            return false;
        QThread::msleep(50);
    }
    // The instance listens now; a message larger than the socket's buffer waits for it to read.
    const QDeadlineTimer writing(forwardTimeLimit);
    socket.write(message);
    while (socket.bytesToWrite() > 0) {
        if (!socket.waitForBytesWritten(static_cast<int>(writing.remainingTime())))
            return false;
    }
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(static_cast<int>(writing.remainingTime()));
    return true;
}
