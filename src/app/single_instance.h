#pragma once

#include <QList>
#include <QLocalServer>
#include <QLockFile>
#include <QObject>
#include <QString>
#include <QUrl>

#include <memory>

// Keeps Scrivlet to one process per user: the first process owns a lock and a local socket in a private
// directory; later processes hand their URL requests to it and exit.
class SingleInstance : public QObject {
    Q_OBJECT
public:
    // This process becomes the instance; empty when another live process already is.
    [[nodiscard]] static std::unique_ptr<SingleInstance> claim(const QString &directory);

    // Starts taking requests from later processes; needs the application object.
    void listen();

    // Sends URL requests to the running instance; false when none answers.
    [[nodiscard]] static bool forward(const QString &directory, const QList<QUrl> &urls);

Q_SIGNALS:
    void urlsReceived(const QList<QUrl> &urls);

private:
    explicit SingleInstance(const QString &directory);
    void acceptConnection();

    QString m_directory;
    QLockFile m_lock;
    QLocalServer m_server;
};
