#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "scoped_environment.h"
#include "support/desktop_tools.h"
#include "support/private_session_bus.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;

namespace {

const QString schemaSource = u"/usr/share/glib-2.0/schemas/"_s;
// Only these two: the window manager's and the settings daemon's. Mutter's and the shell's schemas stay missing.
const QStringList installedSchemas{u"org.gnome.desktop.wm.keybindings.gschema.xml"_s,
                                   u"org.gnome.settings-daemon.plugins.media-keys.gschema.xml"_s};
const QString customPath = u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/custom0/"_s;

using Commands = QList<QStringList>;

QStringList gsettingsSet(const QString &schema, const QString &key, const QString &value)
{
    return {u"gsettings"_s, u"set"_s, schema, key, value};
}

QStringList dconfWrite(const QString &key, const QString &value)
{
    return {u"dconf"_s, u"write"_s, key, value};
}

} // namespace

class GSettingsKeyBindingsTest : public QObject {
    Q_OBJECT

private:
    QTemporaryDir m_root;
    std::optional<ScopedEnvironment> m_environment;
    std::unique_ptr<TestSupport::PrivateSessionBus> m_bus;
    std::unique_ptr<DesktopKeyBindings> m_bindings = makeGSettingsKeyBindings();
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();

    bool isReported(const QString &accelerator) const
    {
        const KeyNames names(*m_layout);
        const std::vector<Shortcut> bindings = m_bindings->enabledBindings(names);
        return std::ranges::find(bindings, names.fromAccelerator(accelerator).value()) != bindings.end();
    }

private slots:
    // GLib reads the schema directories and the user's directories once, so they are set before its first use;
    // dconf-service, started by the bus, takes the bus's environment.
    void initTestCase()
    {
        const QString schemas = m_root.filePath(u"data/glib-2.0/schemas"_s);
        QVERIFY(QDir().mkpath(schemas));
        for (const QString &file : installedSchemas)
            QVERIFY(QFile::copy(schemaSource + file, schemas + u'/' + file));
        QCOMPARE(runCommand(u"glib-compile-schemas"_s, {schemas}).exitCode, 0);
        QVERIFY(QDir().mkpath(m_root.filePath(u"config"_s)));
        QVERIFY(QDir().mkpath(m_root.filePath(u"runtime"_s)));
        QVERIFY(QFile::setPermissions(m_root.filePath(u"runtime"_s),
                                      QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner));
        m_environment.emplace(std::initializer_list<std::pair<const char *, QString>>{
            {"XDG_DATA_DIRS", m_root.filePath(u"data"_s)},
            {"XDG_CONFIG_HOME", m_root.filePath(u"config"_s)},
            {"XDG_RUNTIME_DIR", m_root.filePath(u"runtime"_s)},
            {"GSETTINGS_BACKEND", u"dconf"_s},
        });
        m_bus = TestSupport::PrivateSessionBus::start({u"ca.desrt.dconf"_s});
        QVERIFY(m_bus);
    }

    // The bus goes first: its services still use the directories.
    void cleanupTestCase()
    {
        m_bus.reset();
        m_environment.reset();
    }

    void cleanup() { QCOMPARE(runCommand(u"dconf"_s, {u"reset"_s, u"-f"_s, u"/"_s}).exitCode, 0); }

    void enabledBindings_data()
    {
        QTest::addColumn<Commands>("writes");
        QTest::addColumn<QString>("accelerator");
        QTest::addColumn<bool>("reported");
        const QString wm = u"org.gnome.desktop.wm.keybindings"_s;
        const QString customList = u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings"_s;
        QTest::newRow("a default binding counts") << Commands() << u"<Alt>F4"_s << true;
        QTest::newRow("a default of the settings daemon counts") << Commands() << u"<Super>l"_s << true;
        QTest::newRow("a binding the user set counts")
            << Commands{gsettingsSet(wm, u"minimize"_s, u"['<Super><Shift>F9']"_s)} << u"<Super><Shift>F9"_s << true;
        QTest::newRow("the default the user replaced does not count")
            << Commands{gsettingsSet(wm, u"minimize"_s, u"['<Super><Shift>F9']"_s)} << u"<Super>h"_s << false;
        QTest::newRow("disabled switches a binding off")
            << Commands{gsettingsSet(wm, u"close"_s, u"['disabled']"_s)} << u"<Alt>F4"_s << false;
        QTest::newRow("an empty list switches a binding off")
            << Commands{gsettingsSet(wm, u"close"_s, u"[]"_s)} << u"<Alt>F4"_s << false;
        QTest::newRow("unreadable entries are skipped one by one")
            << Commands{gsettingsSet(wm, u"minimize"_s, u"['<Super>NoSuchKey', '', '<Super><Shift>F9']"_s)}
            << u"<Super><Shift>F9"_s << true;
        QTest::newRow("a custom keybinding counts")
            << Commands{dconfWrite(customList, u"['%1']"_s.arg(customPath)),
                        dconfWrite(customPath + u"binding"_s, u"'<Primary><Alt>t'"_s)}
            << u"<Primary><Alt>t"_s << true;
        QTest::newRow("a custom keybinding that is not listed does not count")
            << Commands{dconfWrite(customPath + u"binding"_s, u"'<Primary><Alt>t'"_s)} << u"<Primary><Alt>t"_s << false;
        QTest::newRow("a custom keybinding at an invalid path is skipped, the next one counts")
            << Commands{dconfWrite(customList, u"['custom1', '/a//b/', '%1']"_s.arg(customPath)),
                        dconfWrite(customPath + u"binding"_s, u"'<Primary><Alt>t'"_s)}
            << u"<Primary><Alt>t"_s << true;
    }
    void enabledBindings()
    {
        QFETCH(Commands, writes);
        QFETCH(QString, accelerator);
        QFETCH(bool, reported);
        for (const QStringList &command : writes)
            QCOMPARE(runCommand(command.first(), command.mid(1)).exitCode, 0);
        // dconf-service writes the database a moment after answering.
        QTRY_COMPARE(isReported(accelerator), reported);
    }

    // GSettings aborts the process for a schema that is not installed, as Mutter's and the shell's are not here.
    void missingSchemasAreSkipped()
    {
        QVERIFY(runCommand(u"gsettings"_s, {u"list-keys"_s, u"org.gnome.mutter.keybindings"_s}).exitCode != 0);
        QVERIFY(isReported(u"<Alt>F4"_s));
    }
};

QTEST_GUILESS_MAIN(GSettingsKeyBindingsTest)
#include "gsettings_key_bindings_test.moc"
