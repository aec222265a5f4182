#include "keyboard_shortcuts/system_reserved_shortcuts.h"

#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/x11/x11_platform_services.h"
#include "other_x11_client.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QScopeGuard>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;
using TestSupport::xdotool;

using Shortcuts = std::vector<Shortcut>;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
constexpr std::int64_t control = CarbonModifier::control;

constexpr xcb_keycode_t keycodeOf3 = 12;
constexpr xcb_keycode_t keycodeOfF12 = 96;

const Shortcut superShift2 = Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier);
const Shortcut superShift3 = Shortcut::fromKey(Key::three, Qt::ShiftModifier | Qt::MetaModifier);
const Name toggleUnicornMode(u"toggleUnicornMode"_s, superShift2);

// The desktop's bindings as GTK accelerators that the test sets, read with the key names the module hands in.
class FakeDesktopKeyBindings final : public DesktopKeyBindings {
public:
    std::vector<Shortcut> enabledBindings(const KeyNames &keyNames) const override
    {
        std::vector<Shortcut> bindings;
        for (const QString &accelerator : accelerators) {
            if (const std::optional<Shortcut> shortcut = keyNames.fromAccelerator(accelerator))
                bindings.push_back(*shortcut);
        }
        return bindings;
    }

    QStringList accelerators;
};

} // namespace

class SystemReservedShortcutsTest : public QObject {
    Q_OBJECT

private:
    FakeDesktopKeyBindings *m_desktop = nullptr; // the module owns it
    int m_presses = 0;

private slots:
    void initTestCase()
    {
        std::optional<PlatformServices> services = makeX11PlatformServices();
        QVERIFY(services);
        auto desktop = std::make_unique<FakeDesktopKeyBindings>();
        m_desktop = desktop.get();
        services->desktopKeyBindings = std::move(desktop);
        install(std::move(*services));
        addKeyDownAction(toggleUnicornMode, [this] { ++m_presses; });
        QVERIFY(isHotKeyRegistered(toggleUnicornMode));
    }

    void init()
    {
        m_desktop->accelerators.clear();
        m_presses = 0;
    }

    void theDesktopsBindingsAreReadAtEveryCall()
    {
        m_desktop->accelerators = {u"<Super><Shift>F9"_s};
        QCOMPARE(systemReservedShortcuts(), Shortcuts({Shortcut{Key::f9.rawValue, command | shift}}));
        m_desktop->accelerators = {u"<Control>F9"_s, u"Print"_s};
        QCOMPARE(systemReservedShortcuts(), Shortcuts({Shortcut{Key::f9.rawValue, control}}));
    }

    void isReservedBySystem_data()
    {
        QTest::addColumn<QStringList>("desktop");
        QTest::addColumn<int>("otherClientsKeycode"); // 0: the other client grabs nothing
        QTest::addColumn<int>("otherClientsModifiers");
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<bool>("reserved");
        const int superShift = superShiftMask;
        QTest::newRow("a desktop binding is reserved")
            << QStringList{u"<Super><Shift>F9"_s} << 0 << 0 << Shortcut{Key::f9.rawValue, command | shift} << true;
        QTest::newRow("a desktop binding with other modifiers does not count")
            << QStringList{u"<Super>F9"_s} << 0 << 0 << Shortcut{Key::f9.rawValue, command | shift} << false;
        QTest::newRow("a combination another program grabbed is reserved")
            << QStringList() << int(keycodeOf3) << superShift << superShift3 << true;
        QTest::newRow("another program holding it under Caps Lock only is enough")
            << QStringList() << int(keycodeOf3) << int(superShiftMask | XCB_MOD_MASK_LOCK) << superShift3 << true;
        QTest::newRow("another program's grab with other modifiers does not count")
            << QStringList() << int(keycodeOf3) << int(XCB_MOD_MASK_4) << superShift3 << false;
        QTest::newRow("our own hot key is free") << QStringList() << 0 << 0 << superShift2 << false;
        QTest::newRow("F12 alone is free though the desktop lists it")
            << QStringList{u"F12"_s} << 0 << 0 << Shortcut{Key::f12.rawValue, 0} << false;
        QTest::newRow("F12 alone is free though another program grabbed it")
            << QStringList() << int(keycodeOfF12) << 0 << Shortcut{Key::f12.rawValue, 0} << false;
        QTest::newRow("F12 with a modifier that the desktop lists is reserved")
            << QStringList{u"<Super>F12"_s} << 0 << 0 << Shortcut{Key::f12.rawValue, command} << true;
        QTest::newRow("F12 with a modifier that another program grabbed is reserved")
            << QStringList() << int(keycodeOfF12) << int(XCB_MOD_MASK_4) << Shortcut{Key::f12.rawValue, command}
            << true;
    }
    void isReservedBySystem()
    {
        QFETCH(QStringList, desktop);
        QFETCH(int, otherClientsKeycode);
        QFETCH(int, otherClientsModifiers);
        QFETCH(Shortcut, shortcut);
        QFETCH(bool, reserved);
        m_desktop->accelerators = desktop;
        OtherClient other;
        if (otherClientsKeycode)
            QVERIFY(other.grab(xcb_keycode_t(otherClientsKeycode), std::uint16_t(otherClientsModifiers)));
        QCOMPARE(KeyboardShortcuts::isReservedBySystem(shortcut), reserved);
    }

    // The server would grant a probe of our own combination, and releasing the probe would release our grab.
    void askingAboutOurOwnHotKeyLeavesItWorking()
    {
        QVERIFY(!KeyboardShortcuts::isReservedBySystem(superShift2));
        QVERIFY(!OtherClient().grab());
        QVERIFY(xdotool({u"key"_s, u"super+shift+2"_s}));
        QTRY_COMPARE(m_presses, 1);
    }

    void askingAboutAFreeCombinationLeavesItFree()
    {
        QVERIFY(!KeyboardShortcuts::isReservedBySystem(superShift3));
        OtherClient other;
        QVERIFY(other.grab(keycodeOf3, superShiftMask));
        QVERIFY(other.grab(keycodeOf3, superShiftMask | XCB_MOD_MASK_LOCK | XCB_MOD_MASK_2));
    }

    // Read from the server's keymap at every call: on a German layout "z" is the key in the Y position.
    void lettersAreTheKeysThatTypeThemNow()
    {
        const auto restore = qScopeGuard([] { TestSupport::runCommand(u"setxkbmap"_s, {u"us"_s}); });
        m_desktop->accelerators = {u"<Super>z"_s};
        QCOMPARE(systemReservedShortcuts(), Shortcuts({Shortcut{Key::z.rawValue, command}}));
        QCOMPARE(TestSupport::runCommand(u"setxkbmap"_s, {u"de"_s}).exitCode, 0);
        QTRY_COMPARE(systemReservedShortcuts(), Shortcuts({Shortcut{Key::y.rawValue, command}}));
    }

    void theDesktopPicksTheStore_data()
    {
        QTest::addColumn<QString>("currentDesktop");
        QTest::addColumn<KeyBindingStore>("store");
        QTest::newRow("GNOME") << u"GNOME"_s << KeyBindingStore::gsettings;
        QTest::newRow("Ubuntu's GNOME, after an unknown name") << u"ubuntu:GNOME"_s << KeyBindingStore::gsettings;
        QTest::newRow("in any case") << u"gnome"_s << KeyBindingStore::gsettings;
        QTest::newRow("Budgie") << u"Budgie:GNOME"_s << KeyBindingStore::gsettings;
        QTest::newRow("Unity") << u"Unity"_s << KeyBindingStore::gsettings;
        QTest::newRow("Pantheon") << u"Pantheon"_s << KeyBindingStore::gsettings;
        QTest::newRow("KDE") << u"KDE"_s << KeyBindingStore::kglobalaccel;
        QTest::newRow("Xfce") << u"XFCE"_s << KeyBindingStore::xfconf;
        QTest::newRow("the first known name decides") << u"KDE:GNOME"_s << KeyBindingStore::kglobalaccel;
        QTest::newRow("Cinnamon keeps its own schemas") << u"X-Cinnamon"_s << KeyBindingStore::none;
        QTest::newRow("names are matched whole") << u"GNOME-Flashback"_s << KeyBindingStore::none;
        QTest::newRow("unset") << QString() << KeyBindingStore::none;
    }
    void theDesktopPicksTheStore()
    {
        QFETCH(QString, currentDesktop);
        QFETCH(KeyBindingStore, store);
        QCOMPARE(keyBindingStore(currentDesktop), store);
    }
};

SCRIVLET_X11_TEST_MAIN(SystemReservedShortcutsTest)
#include "system_reserved_shortcuts_test.moc"
