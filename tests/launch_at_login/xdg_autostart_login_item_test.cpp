#include "launch_at_login/xdg_autostart_login_item.h"

#include "launch_at_login/login_item_switch.h"
#include "log_capture.h"
#include "support/desktop_tools.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <optional>

using LaunchAtLogin::DesktopEntry;
using LaunchAtLogin::XdgAutostartLoginItem;
using LaunchAtLoginTesting::LogCapture;
using namespace Qt::Literals::StringLiterals;

namespace {

QString self()
{
    return QCoreApplication::applicationFilePath();
}

QByteArray entryStarting(const QString &exec, const QByteArray &extra = {})
{
    return "[Desktop Entry]\nType=Application\nName=Scrivlet\nExec=" + exec.toUtf8() + "\n" + extra;
}

// The entries the tables put in place, by name.
std::optional<QByteArray> entryOfKind(const QString &kind)
{
    const QString quotedSelf = LaunchAtLogin::quoteExecArgument(self());
    if (kind == u"self")
        return entryStarting(quotedSelf + u" %u"_s);
    if (kind == u"hidden")
        return entryStarting(quotedSelf, "Hidden=true\n");
    if (kind == u"shown")
        return entryStarting(quotedSelf, "Hidden=false\n");
    if (kind == u"gnome-off")
        return entryStarting(quotedSelf, "X-GNOME-Autostart-enabled=false\n");
    if (kind == u"foreign")
        return entryStarting(u"/bin/true"_s);
    if (kind == u"damaged")
        return "not a desktop entry\n"_ba;
    if (kind == u"no-exec")
        return "[Desktop Entry]\nType=Application\nName=Scrivlet\n"_ba;
    if (kind == u"open-quote")
        return entryStarting(u"\""_s + self());
    if (kind.startsWith(u"exec:"))
        return entryStarting(kind.mid(5));
    return std::nullopt;
}

bool writeFile(const QString &path, const QByteArray &contents)
{
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(contents) == contents.size();
}

QByteArray contentsOf(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

} // namespace

class XdgAutostartLoginItemTest : public QObject {
    Q_OBJECT

private:
    std::optional<QTemporaryDir> m_root;
    QByteArray m_savedPath;

    QString path(const QString &relative) const { return m_root->filePath(relative); }
    XdgAutostartLoginItem::Directories directories() const
    {
        return {path(u"config"_s), {path(u"system"_s)}, path(u"data"_s), {path(u"share"_s)}};
    }
    XdgAutostartLoginItem item(const QString &executable = self()) const
    {
        return XdgAutostartLoginItem(directories(), u"scrivlet"_s, u"Scrivlet"_s, executable);
    }
    QString userEntry() const { return path(u"config/autostart/scrivlet.desktop"_s); }
    QString systemEntry() const { return path(u"system/autostart/scrivlet.desktop"_s); }
    void putEntries(const QString &user, const QString &system)
    {
        if (const auto contents = entryOfKind(user))
            QVERIFY(writeFile(userEntry(), *contents));
        if (const auto contents = entryOfKind(system))
            QVERIFY(writeFile(systemEntry(), *contents));
    }
    // What a real autostart runner makes of the folders: whether it would start this program.
    bool runnerWouldStartUs() const
    {
        const QString folders = path(u"config/autostart"_s) + u':' + path(u"system/autostart"_s);
        const auto result =
            TestSupport::runCommand(u"dex"_s, {u"-a"_s, u"-d"_s, u"-s"_s, folders, u"-e"_s, u"X-Test"_s});
        return result.standardOutput.contains("Executing command: " + self().toUtf8());
    }

private slots:
    void initTestCase()
    {
        // A program that is found through PATH under another name.
        m_savedPath = qgetenv("PATH");
        QVERIFY(m_root.emplace().isValid());
        QVERIFY(QDir().mkpath(path(u"bin"_s)));
        QVERIFY(QFile::link(self(), path(u"bin/scrivlet-on-path"_s)));
        qputenv("PATH", QFile::encodeName(path(u"bin"_s)) + ':' + m_savedPath);
    }
    void cleanupTestCase() { qputenv("PATH", m_savedPath); }
    void init()
    {
        QVERIFY(QDir(path(u"config"_s)).removeRecursively() && QDir(path(u"system"_s)).removeRecursively());
        QVERIFY(QDir(path(u"data"_s)).removeRecursively() && QDir(path(u"share"_s)).removeRecursively());
    }

    void theWinningEntryDecides_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("system");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("no entry anywhere is off") << "none"
                                                  << "none" << false;
        QTest::newRow("a user entry starting this program is on") << "self"
                                                                  << "none" << true;
        QTest::newRow("a system entry starting this program is on") << "none"
                                                                    << "self" << true;
        QTest::newRow("Hidden=false is on") << "shown"
                                            << "none" << true;
        QTest::newRow("the user's foreign entry wins over a system one") << "foreign"
                                                                         << "self" << false;
        QTest::newRow("the user's entry wins over a foreign system one") << "self"
                                                                         << "foreign" << true;
        QTest::newRow("Hidden=true is off") << "hidden"
                                            << "none" << false;
        QTest::newRow("X-GNOME-Autostart-enabled=false is off") << "gnome-off"
                                                                << "none" << false;
        QTest::newRow("a user copy with Hidden=true hides a system entry") << "hidden"
                                                                           << "self" << false;
        QTest::newRow("a damaged entry is off") << "damaged"
                                                << "none" << false;
        QTest::newRow("a damaged user entry still hides a system one") << "damaged"
                                                                       << "self" << false;
        QTest::newRow("an entry starting another program is off") << "foreign"
                                                                  << "none" << false;
        QTest::newRow("an entry without Exec is off") << "no-exec"
                                                      << "none" << false;
        QTest::newRow("an unterminated quote is off") << "open-quote"
                                                      << "none" << false;
        QTest::newRow("a relative Exec found through PATH is on") << "exec:scrivlet-on-path"
                                                                  << "none" << true;
        QTest::newRow("a relative Exec naming another program is off") << "exec:true"
                                                                       << "none" << false;
        QTest::newRow("a relative Exec found nowhere is off") << "exec:no-such-program-here"
                                                              << "none" << false;
        QTest::newRow("a relative path with a folder is off") << "exec:bin/scrivlet-on-path"
                                                              << "none" << false;
    }
    void theWinningEntryDecides()
    {
        QFETCH(QString, user);
        QFETCH(QString, system);
        QFETCH(bool, enabled);
        putEntries(user, system);
        QCOMPARE(item().isEnabled(), enabled);
    }

    void writesLeaveEntriesThatARunnerFollows_data()
    {
        QTest::addColumn<QString>("user");
        QTest::addColumn<QString>("system");
        QTest::addColumn<bool>("enable");
        QTest::addColumn<QString>("userAfter"); // "none", "hidden" or "self"
        QTest::newRow("turning on writes the user entry") << "none"
                                                          << "none" << true << "self";
        QTest::newRow("turning on replaces a damaged entry") << "damaged"
                                                             << "none" << true << "self";
        QTest::newRow("turning on replaces a foreign entry") << "foreign"
                                                             << "none" << true << "self";
        QTest::newRow("turning on drops Hidden") << "hidden"
                                                 << "self" << true << "self";
        QTest::newRow("turning on when on leaves it on") << "self"
                                                         << "self" << true << "self";
        QTest::newRow("turning off removes the user entry") << "self"
                                                            << "none" << false << "none";
        QTest::newRow("turning off hides a system entry starting us") << "none"
                                                                      << "self" << false << "hidden";
        QTest::newRow("turning off hides a system entry under ours") << "self"
                                                                     << "self" << false << "hidden";
        QTest::newRow("turning off leaves a foreign system entry alone") << "self"
                                                                         << "foreign" << false << "none";
        QTest::newRow("turning off when off writes nothing") << "none"
                                                             << "none" << false << "none";
    }
    void writesLeaveEntriesThatARunnerFollows()
    {
        QFETCH(QString, user);
        QFETCH(QString, system);
        QFETCH(bool, enable);
        QFETCH(QString, userAfter);
        putEntries(user, system);
        const QByteArray systemBefore = entryOfKind(system).value_or(QByteArray());
        XdgAutostartLoginItem loginItem = item();
        LogCapture log;
        LaunchAtLogin::switchLoginItem(loginItem, enable); // as every write of the module does
        QCOMPARE(log.mentioning(u"launch at login"_s).size(), 0);
        QCOMPARE(loginItem.isEnabled(), enable);
        QCOMPARE(runnerWouldStartUs(), enable);

        const auto written = DesktopEntry::read(userEntry());
        QCOMPARE(QFile::exists(userEntry()), userAfter != u"none");
        if (written)
            QCOMPARE(written->boolean(u"Hidden"_s).value_or(false), userAfter == u"hidden");
        QCOMPARE(contentsOf(systemEntry()), systemBefore); // system-wide entries are never ours to change
    }

    void theWrittenEntryIsValid_data()
    {
        QTest::addColumn<bool>("installed");
        QTest::addColumn<QString>("executable");
        QTest::newRow("made up when the program is not installed") << false << self();
        QTest::newRow("copied from the installed entry") << true << self();
        QTest::newRow("for a program in a folder with reserved characters")
            << true << path(u"odd \"dir\" $HOME `x` \\ 100%;'s/run"_s);
    }
    void theWrittenEntryIsValid()
    {
        QFETCH(bool, installed);
        QFETCH(QString, executable);
        if (installed) {
            const QString source = qEnvironmentVariable("SCRIVLET_SOURCE_DIR") + u"/resources/scrivlet.desktop"_s;
            QVERIFY(QDir().mkpath(path(u"share/applications"_s)));
            QVERIFY(QFile::copy(source, path(u"share/applications/scrivlet.desktop"_s)));
        }
        XdgAutostartLoginItem loginItem = item(executable);
        QVERIFY(!loginItem.registerItem());

        const auto validation = TestSupport::runCommand(u"desktop-file-validate"_s, {userEntry()});
        QVERIFY2(validation.exitCode == 0, validation.standardOutput + validation.standardError);
        const auto written = DesktopEntry::read(userEntry());
        QVERIFY(written);
        QCOMPARE(LaunchAtLogin::splitExecValue(written->value(u"Exec"_s).value_or(QString())),
                 QStringList{executable}); // no field codes: nothing to hand over at login
        QCOMPARE(written->value(u"GenericName"_s).has_value(), installed);
        QCOMPARE(written->value(u"Name"_s), u"Scrivlet"_s);
    }
};

QTEST_GUILESS_MAIN(XdgAutostartLoginItemTest)
#include "xdg_autostart_login_item_test.moc"
