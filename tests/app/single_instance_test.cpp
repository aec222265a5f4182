#include "app/instance_message.h"
#include "app/single_instance.h"

#include <QElapsedTimer>
#include <QFile>
#include <QLocalSocket>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QtConcurrent/QtConcurrentRun>

#include <memory>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

const QUrl grab(QStringLiteral("scrivlet:///_Grab_"));

// The id of a process that has ended, and been reaped.
pid_t endedProcess()
{
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ::waitpid(child, nullptr, 0);
    return child;
}

} // namespace

class SingleInstanceTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_dir;
    QString directory() const { return m_dir.path() + QLatin1Char('/'); }

private slots:
    void onlyOneProcessIsTheInstance()
    {
        auto first = SingleInstance::claim(directory());
        QVERIFY(first);
        QVERIFY(!SingleInstance::claim(directory()));
        first.reset();
        QVERIFY(SingleInstance::claim(directory())); // released with the object
    }

    void forwardedUrlsArriveInOrderAndWhole()
    {
        auto instance = SingleInstance::claim(directory());
        QVERIFY(instance);
        instance->listen();
        instance->deliverRequests();
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        const QList<QUrl> urls = {QUrl(QStringLiteral("scrivlet:///_Grab_?text=two%20words")),
                                  QUrl(QStringLiteral("scrivlet:///_clear-history_"))};
        // More requests, one after the other, than may be open at once: each one that ends makes room.
        for (int request = 0; request <= SingleInstance::maximumConnections; ++request) {
            QVERIFY(SingleInstance::forward(directory(), urls));
            QVERIFY(received.wait(5000));
            QCOMPARE(received.takeFirst().first().value<QList<QUrl>>(), urls);
        }
    }

    void aRequestMadeDuringStartUpIsCarriedOutOnceTheAppIsReady()
    {
        auto instance = SingleInstance::claim(directory());
        QVERIFY(instance);
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        const QList<QUrl> urls = {QUrl(QStringLiteral("scrivlet:///_clear-history_"))};
        // A second start while this one holds the lock but is still setting up, longer than any fixed short wait.
        QFuture<bool> forwarded =
            QtConcurrent::run([directory = directory(), urls] { return SingleInstance::forward(directory, urls); });
        QTest::qWait(4000);
        QVERIFY(!forwarded.isFinished());
        instance->listen();
        QTRY_VERIFY_WITH_TIMEOUT(forwarded.isFinished(), 10000);
        QVERIFY(forwarded.result());
        QTest::qWait(500); // read meanwhile, and held: the application is not ready for it yet
        QCOMPARE(received.count(), 0);
        instance->deliverRequests();
        QVERIFY(received.wait(5000));
        QCOMPARE(received.first().first().value<QList<QUrl>>(), urls);
    }

    void forwardingEndsWhenNoLiveProcessHoldsTheLock_data()
    {
        QTest::addColumn<bool>("lockLeftByAnEndedProcess");
        QTest::newRow("no lock") << false;
        QTest::newRow("the lock of a process that ended") << true;
    }

    void forwardingEndsWhenNoLiveProcessHoldsTheLock()
    {
        QFETCH(bool, lockLeftByAnEndedProcess);
        QTemporaryDir dir;
        const QString path = dir.path() + QLatin1Char('/');
        if (lockLeftByAnEndedProcess) {
            QFile lock(path + QStringLiteral("instance.lock"));
            QVERIFY(lock.open(QIODevice::WriteOnly));
            lock.write(QByteArray::number(endedProcess()) + "\nscrivlet\n" + QSysInfo::machineHostName().toUtf8() +
                       '\n');
        }
        QElapsedTimer elapsed;
        elapsed.start();
        QVERIFY(!SingleInstance::forward(path, {grab}));
        // Well within the wait for a live instance: nobody is going to answer.
        QCOMPARE_LT(elapsed.elapsed(), std::chrono::milliseconds(SingleInstance::forwardTimeLimit).count() / 2);
    }

    void aSocketLeftByACrashIsReplaced()
    {
        QTemporaryDir dir;
        const QString path = dir.path() + QLatin1Char('/');
        QFile stale(path + QStringLiteral("instance.socket"));
        QVERIFY(stale.open(QIODevice::WriteOnly));
        stale.close();
        auto instance = SingleInstance::claim(path);
        QVERIFY(instance);
        instance->listen();
        instance->deliverRequests();
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        QVERIFY(SingleInstance::forward(path, {grab}));
        QVERIFY(received.wait(5000));
    }

    void anOversizedRequestIsCutOffUnread()
    {
        auto instance = SingleInstance::claim(directory());
        QVERIFY(instance);
        instance->listen();
        instance->deliverRequests();
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        QLocalSocket client;
        client.connectToServer(directory() + QStringLiteral("instance.socket"));
        QVERIFY(client.waitForConnected(5000));
        QSignalSpy cutOff(&client, &QLocalSocket::disconnected);
        // Well-formed requests, four times as many bytes as a message may have; the sender never ends it.
        const QByteArray line = encodeInstanceMessage({grab});
        client.write(line.repeated(4 * maximumInstanceMessageSize / line.size()));
        QVERIFY(cutOff.wait(10000));
        QTest::qWait(200);
        QCOMPARE(received.count(), 0);

        QVERIFY(SingleInstance::forward(directory(), {grab})); // the next request is taken as usual
        QVERIFY(received.wait(5000));
    }

    void connectionsBeyondTheLimitAreRefused()
    {
        auto instance = SingleInstance::claim(directory());
        QVERIFY(instance);
        instance->listen();
        std::vector<std::unique_ptr<QLocalSocket>> clients;
        for (int client = 0; client <= SingleInstance::maximumConnections; ++client) {
            clients.push_back(std::make_unique<QLocalSocket>());
            clients.back()->connectToServer(directory() + QStringLiteral("instance.socket"));
            QVERIFY(clients.back()->waitForConnected(5000));
        }
        QTRY_COMPARE(clients.back()->state(), QLocalSocket::UnconnectedState);
        for (int client = 0; client < SingleInstance::maximumConnections; ++client)
            QCOMPARE(clients[client]->state(), QLocalSocket::ConnectedState);
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "single_instance_test.moc"
