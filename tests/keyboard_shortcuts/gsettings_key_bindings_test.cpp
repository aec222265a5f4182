#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "support/desktop_tools.h"
#include "support/private_dconf.h"

#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;

namespace {

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
    std::unique_ptr<TestSupport::PrivateDconf> m_dconf;
    std::unique_ptr<DesktopKeyBindings> m_bindings = makeGSettingsKeyBindings();
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();

    bool isReported(const QString &accelerator) const
    {
        const KeyNames names(*m_layout);
        const std::vector<Shortcut> bindings = m_bindings->enabledBindings(names);
        return std::ranges::find(bindings, names.fromAccelerator(accelerator).value()) != bindings.end();
    }

private slots:
    void initTestCase()
    {
        m_dconf = TestSupport::PrivateDconf::start(installedSchemas);
        QVERIFY(m_dconf);
    }

    void cleanupTestCase() { m_dconf.reset(); }

    void cleanup() { QVERIFY(m_dconf->reset()); }

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
