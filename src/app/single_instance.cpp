#include "app/single_instance.h"

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

// One URL per line; the sender closes the connection when it is done.
QByteArray encode(const QList<QUrl> &urls)
{
    QByteArray data;
    for (const QUrl &url : urls)
        data += url.toEncoded() + '\n';
    return data;
}

QList<QUrl> decode(const QByteArray &data)
{
    QList<QUrl> urls;
    for (const QByteArray &line : data.split('\n')) {
        if (!line.isEmpty())
            urls.append(QUrl::fromEncoded(line));
    }
    return urls;
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
            // A request is a few URLs; anything this large is not one of ours.
            if (buffer->size() > 1024 * 1024)
                socket->abort();
        });
        connect(socket, &QLocalSocket::disconnected, this, [this, socket, buffer] {
            *buffer += socket->readAll();
            const QList<QUrl> urls = decode(*buffer);
            socket->deleteLater();
            if (!urls.isEmpty())
                Q_EMIT urlsReceived(urls);
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
    socket.write(encode(urls));
    if (!socket.waitForBytesWritten(2000) && socket.bytesToWrite() > 0)
        return false;
    socket.disconnectFromServer();
    if (socket.state() != QLocalSocket::UnconnectedState)
        socket.waitForDisconnected(2000);
    return true;
}
