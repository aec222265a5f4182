#include "support/xvfb_server.h"

#include <QApplication>
#include <QDeadlineTimer>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QScopeGuard>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

#include <csignal>
#include <optional>
#include <unistd.h>

using namespace std::chrono_literals;

namespace {

QString scrivletProgram()
{
    return qEnvironmentVariable("SCRIVLET_BINARY_DIR") + QStringLiteral("/src/app/scrivlet");
}

QString historyFile()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME") + QStringLiteral("/group.scrivlet/defaults.json");
}

// Empty when the file is missing.
std::optional<QStringList> storedHistory()
{
    QFile file(historyFile());
    if (!file.open(QIODevice::ReadOnly))
        return std::nullopt;
    QStringList history;
    for (const QJsonValue entry : QJsonDocument::fromJson(file.readAll()).object().value("textHistory").toArray())
        history << entry.toString();
    return history;
}

bool storeHistory(const QStringList &history)
{
    QDir().mkpath(QFileInfo(historyFile()).path());
    QFile file(historyFile());
    return file.open(QIODevice::WriteOnly) &&
           file.write(QJsonDocument(QJsonObject{{"textHistory", QJsonArray::fromStringList(history)}}).toJson()) > 0;
}

// Ends a started program whatever state it was left in.
void stop(QProcess &process)
{
    if (process.state() == QProcess::NotRunning)
        return;
    ::kill(static_cast<pid_t>(process.processId()), SIGCONT);
    process.terminate();
    if (!process.waitForFinished(5000))
        process.kill();
    process.waitForFinished(2000);
}

} // namespace

// The real program's single instance, started the way a desktop or a script starts it.
class InstanceEndToEndTest : public QObject {
    Q_OBJECT

private slots:
    void initTestCase() { QVERIFY2(QFile::exists(scrivletProgram()), qPrintable(scrivletProgram())); }

    void noInstanceStartsWhenTheFolderPerUserIsSquatted()
    {
        if (::geteuid() != 0)
            QSKIP("needs root to give a folder to another user");
        // No session runtime directory, and the fallback already made by someone else.
        QTemporaryDir temporary;
        const QString squatted =
            QDir(temporary.path()).canonicalPath() + QStringLiteral("/scrivlet-%1").arg(::geteuid());
        QVERIFY(QDir().mkdir(squatted));
        QCOMPARE(::chown(QFile::encodeName(squatted).constData(), 65534, 65534), 0);
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.remove(QStringLiteral("XDG_RUNTIME_DIR"));
        environment.insert(QStringLiteral("TMPDIR"), temporary.path());

        QProcess starts[2];
        for (QProcess &start : starts) {
            start.setProcessEnvironment(environment);
            start.start(scrivletProgram(), {});
        }
        const auto cleanUp = qScopeGuard([&starts] {
            for (QProcess &start : starts)
                stop(start);
        });
        for (QProcess &start : starts) {
            QTRY_COMPARE_WITH_TIMEOUT(start.state(), QProcess::NotRunning, 20000);
            QCOMPARE(start.exitStatus(), QProcess::NormalExit);
            QCOMPARE_NE(start.exitCode(), 0);
            const QString error = QString::fromLocal8Bit(start.readAllStandardError());
            QVERIFY2(error.contains(squatted) && error.contains(QStringLiteral("uid 65534")) &&
                         error.contains(QStringLiteral("XDG_RUNTIME_DIR")),
                     qPrintable(error));
        }
    }

    void aRequestSentWhileTheFirstStartIsSettingUpIsCarriedOut()
    {
        QVERIFY(storeHistory({QStringLiteral("older"), QStringLiteral("oldest")}));
        const QString lock = qEnvironmentVariable("XDG_RUNTIME_DIR") + QStringLiteral("/scrivlet/instance.lock");
        QFile::remove(lock);
        QProcess first;
        first.setProcessChannelMode(QProcess::ForwardedChannels);
        first.start(scrivletProgram(), {});
        const auto stopFirst = qScopeGuard([&first] { stop(first); });
        QDeadlineTimer claimed(20s);
        while (!QFile::exists(lock) && !claimed.hasExpired())
            QThread::msleep(5);
        QVERIFY(QFile::exists(lock));
        // Stopped right after it took the lock, for longer than a slow start on a loaded machine: the second start
        // must wait for it rather than give up.
        QCOMPARE(::kill(static_cast<pid_t>(first.processId()), SIGSTOP), 0);
        QProcess second;
        second.setProcessChannelMode(QProcess::ForwardedChannels);
        second.start(scrivletProgram(), {QStringLiteral("scrivlet:///_clear-history_")});
        const auto stopSecond = qScopeGuard([&second] { stop(second); });
        QTest::qWait(4000);
        QCOMPARE(::kill(static_cast<pid_t>(first.processId()), SIGCONT), 0);

        QTRY_COMPARE_WITH_TIMEOUT(second.state(), QProcess::NotRunning, 40000);
        QCOMPARE(second.exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.exitCode(), 0);
        QTRY_VERIFY_WITH_TIMEOUT(storedHistory().value_or(QStringList{QString()}).isEmpty(), 20000);
        QCOMPARE(first.state(), QProcess::Running);
    }
};

SCRIVLET_X11_TEST_MAIN(InstanceEndToEndTest)
#include "instance_e2e_test.moc"
