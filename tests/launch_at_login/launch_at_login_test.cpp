#include "launch_at_login/launch_at_login.h"

#include "launch_at_login/desktop_entry.h"
#include "log_capture.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"
#include "user_defaults/user_defaults.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>

using LaunchAtLoginTesting::LogCapture;
using namespace Qt::Literals::StringLiterals;

namespace {

// Set for the program an autostart runner starts: the test binary then only leaves this file behind.
constexpr auto markerVariable = "LAUNCH_AT_LOGIN_TEST_MARKER";

QString configHome()
{
    return qEnvironmentVariable("XDG_CONFIG_HOME");
}

QString userEntry()
{
    return configHome() + u"/autostart/scrivlet.desktop"_s;
}

QString legacyEntry()
{
    return configHome() + u"/autostart/scrivlet-LaunchAtLoginHelper.desktop"_s;
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

// Puts a regular file or a folder where the module needs the other, so that its next write fails.
bool breakWrites(bool enabling)
{
    QDir(configHome() + u"/autostart"_s).removeRecursively();
    return enabling ? writeFile(configHome() + u"/autostart"_s, "in the way")
                    : QDir().mkpath(userEntry() + u"/inside"_s);
}

void repairWrites()
{
    QFile::remove(configHome() + u"/autostart"_s);
    QDir(configHome() + u"/autostart"_s).removeRecursively();
}

QString onOff(bool on)
{
    return on ? u"on"_s : u"off"_s;
}

} // namespace

class LaunchAtLoginTest : public QObject {
    Q_OBJECT

private slots:
    void init()
    {
        repairWrites();
        LaunchAtLogin::setEnabled(false);
        QVERIFY(!LaunchAtLogin::isEnabled());
    }

    void aWriteIsAnnouncedAroundTheChangeAndAFailureLoggedOnce_data()
    {
        QTest::addColumn<bool>("start");
        QTest::addColumn<bool>("write");
        QTest::addColumn<bool>("fails");
        QTest::addColumn<QStringList>("events");
        QTest::addColumn<QString>("logged");
        QTest::newRow("turning on") << false << true << false
                                    << QStringList{"observable will: off", "kvo will: off", "kvo did: on",
                                                   "observable did: on", "publisher: on"}
                                    << "";
        QTest::newRow("turning off") << true << false << false
                                     << QStringList{"observable will: on", "kvo will: on", "kvo did: off",
                                                    "observable did: off", "publisher: off"}
                                     << "";
        QTest::newRow("turning on where no autostart folder can be made")
            << false << true << true
            << QStringList{"observable will: off", "kvo will: off", "kvo did: off", "observable did: off",
                           "publisher: on"}
            << "Failed to enable launch at login: cannot create ";
        QTest::newRow("turning off where a folder takes the entry's place")
            << true << false << true
            << QStringList{"observable will: off", "kvo will: off", "kvo did: off", "observable did: off",
                           "publisher: off"}
            << "Failed to disable launch at login: cannot remove ";
    }
    void aWriteIsAnnouncedAroundTheChangeAndAFailureLoggedOnce()
    {
        QFETCH(bool, start);
        QFETCH(bool, write);
        QFETCH(bool, fails);
        QFETCH(QStringList, events);
        QFETCH(QString, logged);
        LaunchAtLogin::setEnabled(start);
        QCOMPARE(LaunchAtLogin::isEnabled(), start);
        if (fails)
            QVERIFY(breakWrites(write));
        const auto repair = qScopeGuard(repairWrites);

        // Each announcement notes the state the system reports at that moment.
        QStringList seen;
        QObject context;
        const auto note = [&](const QString &what) { seen << what + u": "_s + onOff(LaunchAtLogin::isEnabled()); };
        connect(&LaunchAtLogin::observable(), &LaunchAtLogin::Observable::isEnabledWillChange, &context,
                [&] { note(u"observable will"_s); });
        connect(&LaunchAtLogin::kvo(), &LaunchAtLogin::KVO::isEnabledWillChange, &context,
                [&] { note(u"kvo will"_s); });
        connect(&LaunchAtLogin::kvo(), &LaunchAtLogin::KVO::isEnabledChanged, &context, [&](bool now) {
            QCOMPARE(now, LaunchAtLogin::isEnabled());
            note(u"kvo did"_s);
        });
        connect(&LaunchAtLogin::observable(), &LaunchAtLogin::Observable::isEnabledChanged, &context,
                [&] { note(u"observable did"_s); });
        bool subscribed = false;
        const LaunchAtLogin::Subscription subscription = LaunchAtLogin::publisher().subscribe([&](bool value) {
            if (subscribed)
                seen << u"publisher: "_s + onOff(value);
            else
                QCOMPARE(value, start); // the current value, at once
            subscribed = true;
        });

        LogCapture log;
        LaunchAtLogin::kvo().setIsEnabled(write);
        QCOMPARE(seen, events);
        const auto lines = log.mentioning(u"launch at login"_s);
        QCOMPARE(lines.size(), logged.isEmpty() ? 0 : 1);
        for (const auto &line : lines) {
            QCOMPARE(line.category, "app.scrivlet.LaunchAtLogin.main");
            QCOMPARE(line.type, QtCriticalMsg);
            QVERIFY2(line.text.startsWith(logged), qPrintable(line.text));
        }
    }

    void aDroppedSubscriptionReceivesNothing()
    {
        QList<bool> received;
        std::optional<LaunchAtLogin::Subscription> subscription =
            LaunchAtLogin::publisher().subscribe([&](bool value) { received << value; });
        LaunchAtLogin::Subscription moved = std::move(*subscription);
        subscription.reset();
        LaunchAtLogin::setEnabled(true);
        moved = LaunchAtLogin::Subscription();
        LaunchAtLogin::setEnabled(false);
        QCOMPARE(received, (QList<bool>{false, true}));
    }

    void theMigrationRunsOnce_data()
    {
        QTest::addColumn<bool>("migrated");
        QTest::addColumn<QByteArray>("helper"); // the legacy entry, if any
        QTest::addColumn<bool>("blocked");      // the new entry's place is taken by a folder
        QTest::addColumn<bool>("enabled");
        QTest::addColumn<bool>("helperRemains");
        const QByteArray helper = "[Desktop Entry]\nType=Application\nName=Helper\nExec=/opt/helper\n";
        QTest::newRow("an enabled helper is carried over") << false << helper << false << true << false;
        QTest::newRow("a hidden helper is only removed") << false << helper + "Hidden=true\n"
                                                         << false << false << false;
        QTest::newRow("without a helper only the flag is set") << false << QByteArray() << false << false << false;
        QTest::newRow("the helper goes even when carrying it over fails") << false << helper << true << false << false;
        QTest::newRow("a migrated user is left alone") << true << helper << false << false << true;
    }
    void theMigrationRunsOnce()
    {
        QFETCH(bool, migrated);
        QFETCH(QByteArray, helper);
        QFETCH(bool, blocked);
        QFETCH(bool, enabled);
        QFETCH(bool, helperRemains);
        const QString flag = u"LaunchAtLogin__hasMigrated"_s;
        UserDefaults defaults = UserDefaults::standard();
        defaults.setBoolean(flag, migrated);
        const auto restore = qScopeGuard([&] { defaults.remove(flag); });
        if (!helper.isEmpty())
            QVERIFY(writeFile(legacyEntry(), helper));
        if (blocked)
            QVERIFY(QDir().mkpath(userEntry() + u"/inside"_s));
        QSignalSpy willChange(&LaunchAtLogin::kvo(), &LaunchAtLogin::KVO::isEnabledWillChange);
        QSignalSpy changed(&LaunchAtLogin::kvo(), &LaunchAtLogin::KVO::isEnabledChanged);

        LogCapture log;
        LaunchAtLogin::migrateIfNeeded();
        QCOMPARE(LaunchAtLogin::isEnabled(), enabled);
        QCOMPARE(QFile::exists(legacyEntry()), helperRemains);
        QVERIFY(defaults.boolean(flag));
        QCOMPARE(willChange.size() + changed.size(), 0);
        QCOMPARE(log.mentioning(u"Failed to enable launch at login"_s).size(), blocked ? 1 : 0);

        // A second run finds the flag and leaves a helper that turns up again alone.
        repairWrites();
        QVERIFY(writeFile(legacyEntry(), helper.isEmpty() ? "[Desktop Entry]\nExec=/opt/helper\n"_ba : helper));
        LaunchAtLogin::migrateIfNeeded();
        QVERIFY(QFile::exists(legacyEntry()));
        QVERIFY(!LaunchAtLogin::isEnabled());
    }

    void theWrittenEntryStartsThisProgramAtLogin()
    {
        LaunchAtLogin::setEnabled(true);
        const auto validation = TestSupport::runCommand(u"desktop-file-validate"_s, {userEntry()});
        QVERIFY2(validation.exitCode == 0, validation.standardOutput + validation.standardError);

        const QString marker = configHome() + u"/../started-at-login"_s;
        qputenv(markerVariable, QFile::encodeName(marker));
        const auto restore = qScopeGuard([] { qunsetenv(markerVariable); });
        const auto run =
            TestSupport::runCommand(u"dex"_s, {u"-a"_s, u"-s"_s, configHome() + u"/autostart"_s, u"-e"_s, u"X-Test"_s});
        QVERIFY2(run.exitCode == 0, run.standardError);
        QTRY_VERIFY_WITH_TIMEOUT(QFile::exists(marker), 30000);
    }
};

int main(int argc, char **argv)
{
    if (const QByteArray marker = qgetenv(markerVariable); !marker.isEmpty()) {
        QFile started(QFile::decodeName(marker));
        return started.open(QIODevice::WriteOnly) ? 0 : 1;
    }
    TestSupport::IsolatedXdgEnvironment xdg;
    // No system-wide autostart entry or installed entry of the machine takes part.
    qputenv("XDG_CONFIG_DIRS", QFile::encodeName(xdg.root() + u"/system-config"_s));
    qputenv("XDG_DATA_DIRS", QFile::encodeName(xdg.root() + u"/system-data"_s));
    QGuiApplication app(argc, argv);
    QGuiApplication::setDesktopFileName(u"scrivlet"_s);
    LaunchAtLoginTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "launch_at_login_test.moc"
