#include "keyboard_shortcuts/key_names.h"

#include "keyboard_shortcuts/keyboard_layout.h"

#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

using OptShortcut = std::optional<Shortcut>;

namespace {

constexpr std::int64_t command = CarbonModifier::command;
constexpr std::int64_t shift = CarbonModifier::shift;
constexpr std::int64_t option = CarbonModifier::option;
constexpr std::int64_t control = CarbonModifier::control;

OptShortcut shortcut(Key key, std::int64_t modifiers = 0)
{
    return Shortcut{key.rawValue, modifiers};
}

// The keys of a German keyboard that type something else than on a US one; the rest as on the US layout. Its
// keysByText() is the default one, made from keyText().
class GermanLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key key) const override
    {
        const std::pair<Key, QString> german[] = {
            {Key::y, u"z"_s},
            {Key::z, u"y"_s},
            {Key::minus, u"ß"_s},
            {Key::leftBracket, u"ü"_s},
            {Key::semicolon, u"ö"_s},
            {Key::quote, u"ä"_s},
            {Key::rightBracket, u"+"_s},
            {Key::slash, u"-"_s},
            {Key{10}, u"<"_s},
            {Key::keypadMinus, u"-"_s}, // as X11 reads the keypad
        };
        for (const auto &[germanKey, text] : german) {
            if (germanKey == key)
                return text;
        }
        // Dead keys type nothing by themselves.
        if (key == Key::equal || key == Key::backtick)
            return std::nullopt;
        return m_us->keyText(key);
    }

private:
    std::unique_ptr<KeyboardLayout> m_us = makeUsKeyboardLayout();
};

// A layout whose E key types a character that has no keysym name of its own.
class EuroLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key key) const override
    {
        return key == Key::e ? std::optional(u"€"_s) : m_us->keyText(key);
    }

private:
    std::unique_ptr<KeyboardLayout> m_us = makeUsKeyboardLayout();
};

const KeyboardLayout &layoutNamed(const QString &name)
{
    static const GermanLayout german;
    static const EuroLayout euro;
    if (name == u"euro")
        return euro;
    static const std::unique_ptr<KeyboardLayout> us = makeUsKeyboardLayout();
    static const std::unique_ptr<KeyboardLayout> none = makeNullKeyboardLayout();
    if (name == u"de")
        return german;
    return name == u"us" ? *us : *none;
}

} // namespace

class KeyNamesTest : public QObject {
    Q_OBJECT

private slots:
    void readingAccelerators_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<QString>("accelerator");
        QTest::addColumn<OptShortcut>("expected");
        QTest::newRow("Super and Shift with a letter")
            << u"us"_s << u"<Super><Shift>s"_s << shortcut(Key::s, command | shift);
        QTest::newRow("Primary is Control") << u"us"_s << u"<Primary>q"_s << shortcut(Key::q, control);
        QTest::newRow("Ctrl is Control, in any case") << u"us"_s << u"<cTRL>q"_s << shortcut(Key::q, control);
        QTest::newRow("Mod1 is Alt is Option") << u"us"_s << u"<Mod1>F4"_s << shortcut(Key::f4, option);
        QTest::newRow("Meta shares Alt's modifier") << u"us"_s << u"<Meta>F4"_s << shortcut(Key::f4, option);
        QTest::newRow("Mod4 is Super is Command") << u"us"_s << u"<Mod4>Return"_s << shortcut(Key::returnKey, command);
        QTest::newRow("every modifier, repeated") << u"us"_s << u"<Control><Alt><Shift><Super><Shift>Delete"_s
                                                  << shortcut(Key::deleteForward, control | option | shift | command);
        QTest::newRow("a digit") << u"us"_s << u"<Super><Shift>2"_s << shortcut(Key::two, command | shift);
        QTest::newRow("a key alone") << u"us"_s << u"F1"_s << shortcut(Key::f1);
        QTest::newRow("space") << u"us"_s << u"<Super>space"_s << shortcut(Key::space, command);
        QTest::newRow("Page_Up and its old name Prior")
            << u"us"_s << u"<Super>Prior"_s << shortcut(Key::pageUp, command);
        QTest::newRow("BackSpace is delete") << u"us"_s << u"<Alt>BackSpace"_s << shortcut(Key::deleteKey, option);
        QTest::newRow("Insert is where Help sits") << u"us"_s << u"<Super>Insert"_s << shortcut(Key::help, command);
        QTest::newRow("a keypad digit") << u"us"_s << u"<Super>KP_1"_s << shortcut(Key::keypad1, command);
        QTest::newRow("keypad minus is not minus")
            << u"us"_s << u"<Super>KP_Subtract"_s << shortcut(Key::keypadMinus, command);
        QTest::newRow("a punctuation name")
            << u"us"_s << u"<Alt><Super>minus"_s << shortcut(Key::minus, option | command);
        QTest::newRow("bracketleft") << u"us"_s << u"<Super>bracketleft"_s << shortcut(Key::leftBracket, command);
        QTest::newRow("an upper-case letter is its key without Shift")
            << u"us"_s << u"<Super>S"_s << shortcut(Key::s, command);
        QTest::newRow("de: z is the key in the Y position") << u"de"_s << u"<Super>z"_s << shortcut(Key::y, command);
        QTest::newRow("de: y is the key in the Z position") << u"de"_s << u"<Super>y"_s << shortcut(Key::z, command);
        QTest::newRow("de: ü by name") << u"de"_s << u"<Super>udiaeresis"_s << shortcut(Key::leftBracket, command);
        QTest::newRow("de: upper-case Ü by name")
            << u"de"_s << u"<Super>Udiaeresis"_s << shortcut(Key::leftBracket, command);
        QTest::newRow("de: ß by code point") << u"de"_s << u"<Super>U00DF"_s << shortcut(Key::minus, command);
        QTest::newRow("de: minus is the slash key's, not the keypad's")
            << u"de"_s << u"<Super>minus"_s << shortcut(Key::slash, command);
        QTest::newRow("de: less is the ISO key") << u"de"_s << u"<Super>less"_s << shortcut(Key{10}, command);
        QTest::newRow("de: a character German lacks falls back to US")
            << u"de"_s << u"<Super>bracketleft"_s << shortcut(Key::leftBracket, command);
        QTest::newRow("an unknown layout is read as US") << u"none"_s << u"<Super>z"_s << shortcut(Key::z, command);
        QTest::newRow("a character neither layout types fails") << u"us"_s << u"<Super>udiaeresis"_s << OptShortcut();
        QTest::newRow("an unknown keysym fails") << u"us"_s << u"<Super>NoSuchKey"_s << OptShortcut();
        QTest::newRow("a keysym without a Key fails") << u"us"_s << u"Print"_s << OptShortcut();
        QTest::newRow("Super alone fails") << u"us"_s << u"<Super>"_s << OptShortcut();
        QTest::newRow("modifiers only fail") << u"us"_s << u"<Control><Alt>"_s << OptShortcut();
        QTest::newRow("an unknown modifier fails") << u"us"_s << u"<Hyper>a"_s << OptShortcut();
        QTest::newRow("Num Lock's modifier fails") << u"us"_s << u"<Mod2>a"_s << OptShortcut();
        QTest::newRow("an unclosed modifier fails") << u"us"_s << u"<Super"_s << OptShortcut();
        QTest::newRow("Qt's notation fails") << u"us"_s << u"Meta+S"_s << OptShortcut();
        QTest::newRow("a trailing space fails") << u"us"_s << u"<Super>s "_s << OptShortcut();
        QTest::newRow("disabled fails") << u"us"_s << u"disabled"_s << OptShortcut();
        QTest::newRow("empty fails") << u"us"_s << QString() << OptShortcut();
        QTest::newRow("a code point out of range fails") << u"us"_s << u"U110000"_s << OptShortcut();
        QTest::newRow("a control character fails") << u"us"_s << u"U0007"_s << OptShortcut();
    }
    void readingAccelerators()
    {
        QFETCH(QString, layout);
        QFETCH(QString, accelerator);
        QFETCH(OptShortcut, expected);
        QCOMPARE(KeyNames(layoutNamed(layout)).fromAccelerator(accelerator), expected);
    }

    // What GNOME's settings daemon is handed for a custom shortcut: GTK accelerators with keysym names.
    void writingAccelerators_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<OptShortcut>("shortcut");
        QTest::addColumn<QString>("accelerator");
        QTest::newRow("Super and Shift with a digit")
            << u"us"_s << shortcut(Key::two, command | shift) << u"<Super><Shift>2"_s;
        QTest::newRow("every modifier in one order")
            << u"us"_s << shortcut(Key::a, shift | control | command | option) << u"<Super><Control><Alt><Shift>a"_s;
        QTest::newRow("a letter is lower case") << u"us"_s << shortcut(Key::s, control) << u"<Control>s"_s;
        QTest::newRow("a function key alone") << u"us"_s << shortcut(Key::f5) << u"F5"_s;
        QTest::newRow("the last function key") << u"us"_s << shortcut(Key::f20, option) << u"<Alt>F20"_s;
        QTest::newRow("minus by name") << u"us"_s << shortcut(Key::minus, command) << u"<Super>minus"_s;
        QTest::newRow("a bracket by name") << u"us"_s << shortcut(Key::leftBracket, command) << u"<Super>bracketleft"_s;
        QTest::newRow("the quote key is apostrophe")
            << u"us"_s << shortcut(Key::quote, command) << u"<Super>apostrophe"_s;
        QTest::newRow("the backtick key is grave") << u"us"_s << shortcut(Key::backtick, command) << u"<Super>grave"_s;
        QTest::newRow("space by name") << u"us"_s << shortcut(Key::space, command) << u"<Super>space"_s;
        QTest::newRow("Page_Up, not Prior") << u"us"_s << shortcut(Key::pageUp, command) << u"<Super>Page_Up"_s;
        QTest::newRow("Help is Insert") << u"us"_s << shortcut(Key::help, command) << u"<Super>Insert"_s;
        QTest::newRow("a keypad digit") << u"us"_s << shortcut(Key::keypad1, control) << u"<Control>KP_1"_s;
        QTest::newRow("de: the key in the Y position types z") << u"de"_s << shortcut(Key::y, command) << u"<Super>z"_s;
        QTest::newRow("de: ü by name") << u"de"_s << shortcut(Key::leftBracket, command) << u"<Super>udiaeresis"_s;
        QTest::newRow("de: ß by name") << u"de"_s << shortcut(Key::minus, command) << u"<Super>ssharp"_s;
        QTest::newRow("de: a dead key is named as on US")
            << u"de"_s << shortcut(Key::equal, command) << u"<Super>equal"_s;
        QTest::newRow("a character without a name by its code point")
            << u"euro"_s << shortcut(Key::e, command) << u"<Super>U20AC"_s;
        QTest::newRow("an unknown layout is named as US") << u"none"_s << shortcut(Key::z, command) << u"<Super>z"_s;
        QTest::newRow("a key that types nothing has none") << u"us"_s << shortcut(Key::capsLock, command) << QString();
        QTest::newRow("a key code without a key has none") << u"us"_s << shortcut(Key{500}, command) << QString();
    }
    void writingAccelerators()
    {
        QFETCH(QString, layout);
        QFETCH(OptShortcut, shortcut);
        QFETCH(QString, accelerator);
        const KeyNames names(layoutNamed(layout));
        const std::optional<QString> written = names.toAccelerator(*shortcut);
        QCOMPARE(written.value_or(QString()), accelerator);
        QCOMPARE(written.has_value(), !accelerator.isNull());
        // GNOME reads back the combination that was written.
        if (written)
            QCOMPARE(names.fromAccelerator(*written), shortcut);
    }

    void readingQtKeys_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<int>("combination");
        QTest::addColumn<OptShortcut>("expected");
        QTest::newRow("Meta and Shift with a letter")
            << u"us"_s << (Qt::MetaModifier | Qt::ShiftModifier | Qt::Key_S).toCombined()
            << shortcut(Key::s, command | shift);
        QTest::newRow("Ctrl and Alt with Delete")
            << u"us"_s << (Qt::ControlModifier | Qt::AltModifier | Qt::Key_Delete).toCombined()
            << shortcut(Key::deleteForward, control | option);
        QTest::newRow("a function key alone") << u"us"_s << int(Qt::Key_F12) << shortcut(Key::f12);
        QTest::newRow("space") << u"us"_s << (Qt::MetaModifier | Qt::Key_Space).toCombined()
                               << shortcut(Key::space, command);
        QTest::newRow("a digit") << u"us"_s << (Qt::MetaModifier | Qt::Key_2).toCombined()
                                 << shortcut(Key::two, command);
        QTest::newRow("the keypad modifier picks the keypad digit")
            << u"us"_s << (Qt::MetaModifier | Qt::KeypadModifier | Qt::Key_1).toCombined()
            << shortcut(Key::keypad1, command);
        QTest::newRow("Enter is the keypad's")
            << u"us"_s << (Qt::MetaModifier | Qt::Key_Enter).toCombined() << shortcut(Key::keypadEnter, command);
        QTest::newRow("the group switch modifier is dropped")
            << u"us"_s << (Qt::MetaModifier | Qt::GroupSwitchModifier | Qt::Key_A).toCombined()
            << shortcut(Key::a, command);
        QTest::newRow("a punctuation key") << u"us"_s << (Qt::ControlModifier | Qt::Key_BracketLeft).toCombined()
                                           << shortcut(Key::leftBracket, control);
        QTest::newRow("de: Z is the key in the Y position")
            << u"de"_s << (Qt::MetaModifier | Qt::Key_Z).toCombined() << shortcut(Key::y, command);
        QTest::newRow("de: Ä is the quote key")
            << u"de"_s << (Qt::MetaModifier | Qt::Key_Adiaeresis).toCombined() << shortcut(Key::quote, command);
        QTest::newRow("a character neither layout types fails")
            << u"us"_s << (Qt::MetaModifier | Qt::Key_Adiaeresis).toCombined() << OptShortcut();
        QTest::newRow("a key without a Key fails")
            << u"us"_s << (Qt::MetaModifier | Qt::Key_Print).toCombined() << OptShortcut();
        QTest::newRow("a keypad key without a Key fails")
            << u"us"_s << (Qt::KeypadModifier | Qt::Key_Home).toCombined() << OptShortcut();
        QTest::newRow("a modifier key fails")
            << u"us"_s << (Qt::ShiftModifier | Qt::Key_Meta).toCombined() << OptShortcut();
        QTest::newRow("modifiers without a key fail")
            << u"us"_s << int((Qt::MetaModifier | Qt::ShiftModifier).toInt()) << OptShortcut();
        QTest::newRow("Qt's unknown key fails") << u"us"_s << int(Qt::Key_unknown) << OptShortcut();
        QTest::newRow("a control character fails")
            << u"us"_s << (Qt::MetaModifier | Qt::Key(0x07)).toCombined() << OptShortcut();
    }
    void readingQtKeys()
    {
        QFETCH(QString, layout);
        QFETCH(int, combination);
        QFETCH(OptShortcut, expected);
        QCOMPARE(KeyNames(layoutNamed(layout)).fromQtKey(QKeyCombination::fromCombined(combination)), expected);
    }
};

QTEST_GUILESS_MAIN(KeyNamesTest)
#include "key_names_test.moc"
