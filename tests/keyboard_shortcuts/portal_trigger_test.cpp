#include "keyboard_shortcuts/portal/portal_trigger.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/scan_codes.h"

#include <QRegularExpression>
#include <QTest>

#include <xkbcommon/xkbcommon.h>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

using OptString = std::optional<QString>;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
constexpr std::int64_t option = CarbonModifier::option;
constexpr std::int64_t control = CarbonModifier::control;

// What the freedesktop shortcuts format allows after the modifiers.
const QRegularExpression identifier(u"^[A-Za-z0-9_]+$"_s);

} // namespace

class PortalTriggerTest : public QObject {
    Q_OBJECT

private slots:
    void trigger_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<OptString>("expected");
        const auto row = [](const char *name, Key key, std::int64_t modifiers, OptString expected) {
            QTest::newRow(name) << Shortcut{key.rawValue, modifiers} << expected;
        };
        row("the default Super+Shift+2", Key::two, command | shift, u"LOGO+SHIFT+2"_s);
        row("Super is LOGO", Key::a, command, u"LOGO+a"_s);
        row("Control is CTRL", Key::a, control, u"CTRL+a"_s);
        row("Option is ALT", Key::a, option, u"ALT+a"_s);
        row("Shift is SHIFT", Key::a, shift, u"SHIFT+a"_s);
        row("all four in one order", Key::z, command | control | option | shift, u"LOGO+CTRL+ALT+SHIFT+z"_s);
        row("bits that are no modifier are left out", Key::s, command | 0x10000 | 0x80, u"LOGO+s"_s);
        row("a letter is its lower-case keysym", Key::q, control | shift, u"CTRL+SHIFT+q"_s);
        row("F1 alone", Key::f1, 0, u"F1"_s);
        row("F12 with Control", Key::f12, control, u"CTRL+F12"_s);
        row("F20", Key::f20, option, u"ALT+F20"_s);
        row("digit zero", Key::zero, command, u"LOGO+0"_s);
        row("digit nine", Key::nine, control | option, u"CTRL+ALT+9"_s);
        row("minus by its keysym name", Key::minus, control, u"CTRL+minus"_s);
        row("equal", Key::equal, command, u"LOGO+equal"_s);
        row("comma", Key::comma, command, u"LOGO+comma"_s);
        row("period", Key::period, command, u"LOGO+period"_s);
        row("slash", Key::slash, command, u"LOGO+slash"_s);
        row("backslash", Key::backslash, command, u"LOGO+backslash"_s);
        row("semicolon", Key::semicolon, command, u"LOGO+semicolon"_s);
        row("quote is apostrophe", Key::quote, command, u"LOGO+apostrophe"_s);
        row("backtick is grave", Key::backtick, command, u"LOGO+grave"_s);
        row("left bracket", Key::leftBracket, control, u"CTRL+bracketleft"_s);
        row("right bracket", Key::rightBracket, control, u"CTRL+bracketright"_s);
        row("space", Key::space, option, u"ALT+space"_s);
        row("Return", Key::returnKey, control, u"CTRL+Return"_s);
        row("Escape", Key::escape, command, u"LOGO+Escape"_s);
        row("Tab", Key::tab, option, u"ALT+Tab"_s);
        row("the Delete key is BackSpace", Key::deleteKey, control, u"CTRL+BackSpace"_s);
        row("forward delete is Delete", Key::deleteForward, control, u"CTRL+Delete"_s);
        row("Page Up", Key::pageUp, command, u"LOGO+Page_Up"_s);
        row("an arrow", Key::leftArrow, command | shift, u"LOGO+SHIFT+Left"_s);
        row("a keypad digit is its own keysym, without NUM", Key::keypad1, control, u"CTRL+KP_1"_s);
        row("keypad Enter", Key::keypadEnter, command, u"LOGO+KP_Enter"_s);
        row("a volume key", Key::volumeUp, 0, u"XF86AudioRaiseVolume"_s);
        row("Caps Lock has no keysym name here", Key::capsLock, command, std::nullopt);
        row("an unknown key code", Key{999}, command, std::nullopt);
    }

    void trigger()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(OptString, expected);
        const KeyNames keyNames(*makeUsKeyboardLayout());
        QCOMPARE(portalTrigger(shortcut, keyNames), expected);
    }

    // Every key that gets a trigger is named by a keysym that xkbcommon, which desktops parse triggers with, knows.
    void everyNamedKeyIsAnXkbKeysym()
    {
        const KeyNames keyNames(*makeUsKeyboardLayout());
        int named = 0;
        for (const KeyScanCode &entry : scanCodeTable()) {
            const std::optional<QString> trigger = portalTrigger(Shortcut{entry.key.rawValue, 0}, keyNames);
            if (!trigger)
                continue;
            ++named;
            QVERIFY2(identifier.match(*trigger).hasMatch(), qPrintable(*trigger));
            QVERIFY2(xkb_keysym_from_name(trigger->toUtf8().constData(), XKB_KEYSYM_NO_FLAGS) != XKB_KEY_NoSymbol,
                     qPrintable(*trigger));
        }
        QVERIFY(named > 90);
    }

    void token_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("expected");
        QTest::newRow("a plain name is kept") << u"toggleUnicornMode"_s << u"toggleUnicornMode"_s;
        QTest::newRow("digits and underscores are kept") << u"grab_2"_s << u"grab_2"_s;
        QTest::newRow("dots and dashes become underscores") << u"app.grab-text"_s << u"app_grab_text"_s;
        QTest::newRow("spaces and slashes become underscores") << u"a b/c"_s << u"a_b_c"_s;
        QTest::newRow("letters beyond ASCII become underscores") << u"ünï"_s << u"_n_"_s;
        QTest::newRow("an empty name has a token all the same") << QString() << u"shortcut"_s;
    }

    void token()
    {
        QFETCH(QString, name);
        QFETCH(QString, expected);
        const QString token = portalToken(name);
        QCOMPARE(token, expected);
        QVERIFY(identifier.match(token).hasMatch());
    }
};

QTEST_GUILESS_MAIN(PortalTriggerTest)
#include "portal_trigger_test.moc"
