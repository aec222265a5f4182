#include "keyboard_shortcuts/desktop/gnome_custom_key_binding_service.h"

#include "keyboard_shortcuts/desktop/gsettings_key_bindings.h"
#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/shortcut_center.h"
#include "support/desktop_tools.h"
#include "support/private_dconf.h"
#include "user_defaults/user_defaults.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::runCommand;

namespace {

const QStringList installedSchemas{u"org.gnome.desktop.wm.keybindings.gschema.xml"_s,
                                   u"org.gnome.settings-daemon.plugins.media-keys.gschema.xml"_s};
const QString mediaKeys = u"org.gnome.settings-daemon.plugins.media-keys"_s;
const QString folder = u"/org/gnome/settings-daemon/plugins/media-keys/custom-keybindings/"_s;
const QString usersPath = folder + u"custom0/"_s;
const QString programName = u"scrivlet-test"_s;
const QString ourPath = folder + u"scrivlet-test-grabText/"_s;
const Name grabText(u"grabText"_s);
const DesktopCommand command{u"Scrivlet: Grab Text"_s, {u"/opt/my apps/scrivlet"_s, u"scrivlet:///_Grab_"_s}};
const Shortcut superShift2 = Shortcut::fromKey(Key::two, Qt::MetaModifier | Qt::ShiftModifier);
const Shortcut controlAltG = Shortcut::fromKey(Key::g, Qt::ControlModifier | Qt::AltModifier);

// What another process reads, in GVariant text: "['/a/', '/b/']", "'<Super>2'".
QString gsettingsGet(const QString &schema, const QString &key)
{
    return QString::fromUtf8(runCommand(u"gsettings"_s, {u"get"_s, schema, key}).standardOutput.trimmed());
}

QString listed()
{
    return gsettingsGet(mediaKeys, u"custom-keybindings"_s);
}

QString entryValue(const QString &path, const QString &key)
{
    return gsettingsGet(mediaKeys + u".custom-keybinding:"_s + path, key);
}

QString list(const QStringList &paths)
{
    if (paths.isEmpty())
        return u"@as []"_s;
    return u"['"_s + paths.join(u"', '"_s) + u"']"_s;
}

bool write(const QString &key, const QString &value)
{
    return runCommand(u"dconf"_s, {u"write"_s, key, value}).exitCode == 0;
}

HotKeyHandlers handlers(QString name, std::optional<DesktopCommand> desktopCommand)
{
    HotKeyHandlers handlers;
    handlers.name = std::move(name);
    handlers.command = std::move(desktopCommand);
    return handlers;
}

} // namespace

class GnomeCustomKeyBindingServiceTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestSupport::PrivateDconf> m_dconf;
    std::unique_ptr<KeyboardLayout> m_layout = makeUsKeyboardLayout();

    std::unique_ptr<HotKeyService> makeService() const { return makeGnomeCustomKeyBindingService(KeyNames(*m_layout)); }

    // The user's own shortcut, listed before anything of ours.
    static bool addUsersEntry()
    {
        return write(usersPath + u"name"_s, u"'Terminal'"_s) && write(usersPath + u"command"_s, u"'kgx'"_s) &&
               write(usersPath + u"binding"_s, u"'<Primary><Alt>t'"_s) && write(folder.chopped(1), list({usersPath}));
    }

private slots:
    void initTestCase()
    {
        QCoreApplication::setApplicationName(programName);
        m_dconf = TestSupport::PrivateDconf::start(installedSchemas);
        QVERIFY(m_dconf);
    }

    void cleanupTestCase() { m_dconf.reset(); }

    void init()
    {
        QVERIFY(m_dconf->reset());
        QTRY_COMPARE(listed(), list({}));
    }

    void aGrabWritesItsEntryAfterTheUsersAndDroppingItLeavesTheirs()
    {
        QVERIFY(addUsersEntry());
        QTRY_COMPARE(listed(), list({usersPath}));
        const std::unique_ptr<HotKeyService> service = makeService();
        QVERIFY(service);
        std::unique_ptr<HotKeyGrab> grab = service->grab(superShift2, handlers(grabText.rawValue, command));
        QVERIFY(grab);
        QTRY_COMPARE(listed(), list({usersPath, ourPath}));
        QCOMPARE(entryValue(ourPath, u"name"_s), u"'Scrivlet: Grab Text'"_s);
        QCOMPARE(entryValue(ourPath, u"binding"_s), u"'<Super><Shift>2'"_s);
        // The settings daemon splits the command as a shell would; the space stays inside the program's path.
        QCOMPARE(entryValue(ourPath, u"command"_s), u"\"'/opt/my apps/scrivlet' scrivlet:///_Grab_\""_s);

        grab.reset();
        QTRY_COMPARE(listed(), list({usersPath}));
        QTRY_COMPARE(entryValue(ourPath, u"binding"_s), u"''"_s);
        QCOMPARE(entryValue(ourPath, u"command"_s), u"''"_s);
        QCOMPARE(entryValue(usersPath, u"binding"_s), u"'<Primary><Alt>t'"_s);
        QCOMPARE(entryValue(usersPath, u"command"_s), u"'kgx'"_s);
    }

    // Through the center, as the module runs it: the name and the command reach the service with every grab.
    void aChangedShortcutReplacesTheEntryAndAClearedOneRemovesIt()
    {
        QVERIFY(addUsersEntry());
        const std::unique_ptr<HotKeyService> service = makeService();
        QVERIFY(service);
        QTemporaryDir defaultsFolder;
        ShortcutCenter center(*service, UserDefaults(defaultsFolder.filePath(u"defaults.json"_s)));
        center.setDesktopCommand(grabText, command);
        center.storeShortcut(superShift2, grabText);
        center.addKeyDownAction(grabText, [] {});
        QTRY_COMPARE(listed(), list({usersPath, ourPath}));
        QVERIFY(center.isHotKeyRegistered(grabText));

        center.storeShortcut(controlAltG, grabText);
        QTRY_COMPARE(entryValue(ourPath, u"binding"_s), u"'<Control><Alt>g'"_s);
        QCOMPARE(listed(), list({usersPath, ourPath}));
        QVERIFY(center.isHotKeyRegistered(grabText));

        center.setDesktopCommand(grabText, DesktopCommand{u"Other"_s, {u"/usr/bin/other"_s}});
        QTRY_COMPARE(entryValue(ourPath, u"command"_s), u"'/usr/bin/other'"_s);
        QCOMPARE(entryValue(ourPath, u"name"_s), u"'Other'"_s);

        center.storeShortcut(std::nullopt, grabText);
        QTRY_COMPARE(listed(), list({usersPath}));
        QCOMPARE(entryValue(ourPath, u"binding"_s), u"''"_s);
    }

    // A run that did not end cleanly leaves its entries listed, possibly more than once.
    void leftoversAreRemovedAtStartAndNeverDoubled()
    {
        QVERIFY(addUsersEntry());
        const QString otherOfOurs = folder + u"scrivlet-test-renamed/"_s;
        QVERIFY(write(ourPath + u"binding"_s, u"'<Super>F9'"_s));
        QVERIFY(write(otherOfOurs + u"binding"_s, u"'<Super>F8'"_s));
        QVERIFY(write(folder.chopped(1), list({ourPath, usersPath, otherOfOurs, ourPath})));
        QTRY_COMPARE(listed(), list({ourPath, usersPath, otherOfOurs, ourPath}));
        const std::unique_ptr<HotKeyService> service = makeService();
        QVERIFY(service);
        QTRY_COMPARE(listed(), list({usersPath}));
        QTRY_COMPARE(entryValue(otherOfOurs, u"binding"_s), u"''"_s);

        // Listed again behind the service's back (a restored backup, another copy of the program): kept once.
        QVERIFY(write(folder.chopped(1), list({ourPath, usersPath})));
        QTRY_COMPARE(listed(), list({ourPath, usersPath}));
        std::unique_ptr<HotKeyGrab> grab = service->grab(superShift2, handlers(grabText.rawValue, command));
        QVERIFY(grab);
        QTRY_COMPARE(entryValue(ourPath, u"binding"_s), u"'<Super><Shift>2'"_s);
        QTest::qWait(200); // a second listing would be written right after the entry
        QCOMPARE(listed(), list({ourPath, usersPath}));
        grab.reset();
        QTRY_COMPARE(listed(), list({usersPath}));
    }

    void grabsThatCannotBeBoundAreRefused_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<std::optional<DesktopCommand>>("desktopCommand");
        QTest::addColumn<Shortcut>("shortcut");
        QTest::newRow("without a command") << grabText.rawValue << std::optional<DesktopCommand>() << superShift2;
        QTest::newRow("with an empty command")
            << grabText.rawValue << std::optional(DesktopCommand{u"Nothing"_s, {}}) << superShift2;
        QTest::newRow("without a name") << QString() << std::optional(command) << superShift2;
        QTest::newRow("a key without a keysym")
            << grabText.rawValue << std::optional(command) << Shortcut::fromKey(Key::capsLock, Qt::MetaModifier);
    }
    void grabsThatCannotBeBoundAreRefused()
    {
        QFETCH(QString, name);
        QFETCH(std::optional<DesktopCommand>, desktopCommand);
        QFETCH(Shortcut, shortcut);
        const std::unique_ptr<HotKeyService> service = makeService();
        QVERIFY(!service->grab(shortcut, handlers(name, desktopCommand)));
        QTest::qWait(200);
        QCOMPARE(listed(), list({}));
    }

    void aNameIsBoundOnceAtATime()
    {
        const std::unique_ptr<HotKeyService> service = makeService();
        std::unique_ptr<HotKeyGrab> first = service->grab(superShift2, handlers(grabText.rawValue, command));
        QVERIFY(first);
        QVERIFY(!service->grab(controlAltG, handlers(grabText.rawValue, command)));
        QTRY_COMPARE(listed(), list({ourPath}));
        QCOMPARE(entryValue(ourPath, u"binding"_s), u"'<Super><Shift>2'"_s);
        first.reset();
        QVERIFY(service->grab(controlAltG, handlers(grabText.rawValue, command)));
    }

    // The recorder refuses what the desktop binds: the program's own entry is no such binding, the user's is.
    void theOwnEntryIsNoDesktopBinding()
    {
        QVERIFY(addUsersEntry());
        const std::unique_ptr<HotKeyService> service = makeService();
        const std::unique_ptr<HotKeyGrab> grab = service->grab(superShift2, handlers(grabText.rawValue, command));
        QVERIFY(grab);
        QTRY_COMPARE(listed(), list({usersPath, ourPath}));
        const KeyNames names(*m_layout);
        const std::vector<Shortcut> bindings = makeGSettingsKeyBindings()->enabledBindings(names);
        QVERIFY(std::ranges::find(bindings, superShift2) == bindings.end());
        QVERIFY(std::ranges::find(bindings, *names.fromAccelerator(u"<Primary><Alt>t"_s)) != bindings.end());
    }
};

QTEST_GUILESS_MAIN(GnomeCustomKeyBindingServiceTest)
#include "gnome_custom_key_binding_service_test.moc"
