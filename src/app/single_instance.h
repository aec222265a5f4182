#pragma once

#include <QList>
#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <QUrl>

#include <chrono>
#include <memory>

// Keeps Scrivlet to one process per user: the first process owns a lock and a local socket in a private
// directory; later processes hand their URL requests to it and exit.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // Requests read at the same time; more are refused, so that a runaway local process cannot take our memory.
    static constexpr int maximumConnections = 16;
    // How long a connection may take to bring its request.
    static constexpr std::chrono::seconds requestTimeLimit{10};
    // How long a later process waits for a live instance that does not listen yet (a slow start, a loaded machine).
    static constexpr std::chrono::seconds forwardTimeLimit{30};

    // This process becomes the instance; empty when another live process already is.
    [[nodiscard]] static std::unique_ptr<SingleInstance> claim(const QString &directory);

    // Starts taking requests from later processes; needs the application object. Call it before any slow set-up:
    // later processes wait for it meanwhile. Requests are held until deliverRequests().
    void listen();

    // From the next turn of the event loop on, emits urlsReceived for the requests held so far, in the order they
    // came, and then for each one as it comes.
    void deliverRequests();

    // Sends URL requests to the running instance, waiting while the holder of the lock lives and has not started
    // listening (at most forwardTimeLimit); false when it ended or did not answer in that time.
    [[nodiscard]] static bool forward(const QString &directory, const QList<QUrl> &urls);

Q_SIGNALS:
    void urlsReceived(const QList<QUrl> &urls);

private:
    explicit SingleInstance(const QString &directory);
    void acceptConnections();
    void receive(const QList<QUrl> &urls);

    QString m_directory;
    QLockFile m_lock;
    QLocalServer m_server; // after the lock: the socket goes before the lock is released
    int m_openConnections = 0;
    bool m_delivering = false;
    QList<QList<QUrl>> m_heldRequests;
};
