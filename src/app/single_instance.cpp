#include "app/single_instance.h"

#include "app/instance_message.h"

#include <QDeadlineTimer>
#include <QLocalSocket>
#include <QLoggingCategory>
#include <QThread>

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
    // A socket file left by a process that crashed would make listen() fail.
    QLocalServer::removeServer(socketPath(m_directory));
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    if (!m_server.listen(socketPath(m_directory)))
        qCWarning(lcInstance) << "cannot listen for requests:" << m_server.errorString();
    connect(&m_server, &QLocalServer::newConnection, this, &SingleInstance::acceptConnection, Qt::UniqueConnection);
}

void SingleInstance::acceptConnection()
{
    while (QLocalSocket *socket = m_server.nextPendingConnection()) {
        socket->setParent(this);
        auto buffer = std::make_shared<QByteArray>();
        connect(socket, &QLocalSocket::readyRead, socket, [socket, buffer] {
            *buffer += socket->readAll();
            if (buffer->size() > maximumInstanceMessageSize)
                socket->abort();
        });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket, buffer] {
            *buffer += socket->readAll();
            const std::optional<QList<QUrl>> urls = decodeInstanceMessage(*buffer);
            socket->deleteLater();
            if (urls && !urls->isEmpty())
                Q_EMIT urlsReceived(*urls);
        });
    }
}

bool SingleInstance::forward(const QString &directory, const QList<QUrl> &urls)
{
    // The instance may hold the lock a moment before it listens; give it time to start.
    QDeadlineTimer deadline(std::chrono::seconds(3));
    QLocalSocket socket;
    while (true) {
        socket.connectToServer(socketPath(directory));
        if (socket.waitForConnected(500))
            break;
        if (deadline.hasExpired())
            return false;
        QThread::msleep(50);
    }
    socket.write(encodeInstanceMessage(urls));
    if (!socket.waitForBytesWritten(2000) && socket.bytesToWrite() > 0)
        return false;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(2000);
    return true;
}
