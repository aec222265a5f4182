#include "app/single_instance.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

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
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        const QList<QUrl> urls = {QUrl(QStringLiteral("scrivlet:///_Grab_?text=two%20words")),
                                  QUrl(QStringLiteral("scrivlet:///_clear-history_"))};
        QVERIFY(SingleInstance::forward(directory(), urls));
        QVERIFY(received.wait(5000));
        QCOMPARE(received.first().first().value<QList<QUrl>>(), urls);
    }

    void forwardingWithoutAnInstanceFails()
    {
        QTemporaryDir empty;
        QVERIFY(
            !SingleInstance::forward(empty.path() + QLatin1Char('/'), {QUrl(QStringLiteral("scrivlet:///_Grab_"))}));
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
        QSignalSpy received(instance.get(), &SingleInstance::urlsReceived);
        QVERIFY(SingleInstance::forward(path, {QUrl(QStringLiteral("scrivlet:///_Grab_"))}));
        QVERIFY(received.wait(5000));
    }
};

QTEST_GUILESS_MAIN(SingleInstanceTest)
#include "single_instance_test.moc"
