#include "keyboard_shortcuts/shortcut_text.h"

#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/x11/x11_keyboard_layout.h"
#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QScopeGuard>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

bool setLayout(const QString &layout)
{
    return TestSupport::runCommand(u"setxkbmap"_s, {layout}).exitCode == 0;
}

} // namespace

class ShortcutTextTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<KeyboardLayout> m_layout;

private slots:
    void initTestCase()
    {
        m_layout = makeX11KeyboardLayout();
        QVERIFY(m_layout);
        QVERIFY(setLayout(u"us"_s));
    }

    void keyTextFollowsTheLayout_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<Key>("key");
        QTest::addColumn<std::optional<QString>>("text");
        QTest::newRow("us: the Y key types y") << u"us"_s << Key::y << std::optional(u"y"_s);
        QTest::newRow("us: the Z key types z") << u"us"_s << Key::z << std::optional(u"z"_s);
        QTest::newRow("us: the minus key types -") << u"us"_s << Key::minus << std::optional(u"-"_s);
        QTest::newRow("us: two is unshifted 2") << u"us"_s << Key::two << std::optional(u"2"_s);
        QTest::newRow("us: the backtick key types `") << u"us"_s << Key::backtick << std::optional(u"`"_s);
        QTest::newRow("de: the key at the Y position types z") << u"de"_s << Key::y << std::optional(u"z"_s);
        QTest::newRow("de: the key at the Z position types y") << u"de"_s << Key::z << std::optional(u"y"_s);
        QTest::newRow("de: the minus key types ß") << u"de"_s << Key::minus << std::optional(u"ß"_s);
        QTest::newRow("de: the ISO key types <") << u"de"_s << Key{10} << std::optional(u"<"_s);
        QTest::newRow("de: two is still 2") << u"de"_s << Key::two << std::optional(u"2"_s);
        QTest::newRow("the table wins: space is ⎵") << u"us"_s << Key::space << std::optional(u"⎵"_s);
        QTest::newRow("the table wins: F5") << u"de"_s << Key::f5 << std::optional(u"F5"_s);
        QTest::newRow("a modifier key types nothing") << u"us"_s << Key::shift << std::optional<QString>();
        QTest::newRow("Fn has no X11 keycode") << u"us"_s << Key::function << std::optional<QString>();
        QTest::newRow("a key code beyond any key") << u"us"_s << Key{70000} << std::optional<QString>();
        QTest::newRow("a negative key code") << u"us"_s << Key{-1} << std::optional<QString>();
    }
    void keyTextFollowsTheLayout()
    {
        QFETCH(QString, layout);
        QFETCH(Key, key);
        QFETCH(std::optional<QString>, text);
        const auto restore = qScopeGuard([] { setLayout(u"us"_s); });
        QVERIFY(setLayout(layout));
        // No waiting: the layout is read afresh at every call.
        QCOMPARE(keyText(key.rawValue, *m_layout), text);
    }

    // Checks the scan code table against the server's own keymap.
    void everyLetterAndDigitKeyTypesItsNameOnAUsLayout()
    {
        const Key letters[] = {Key::a, Key::b, Key::c, Key::d, Key::e, Key::f, Key::g, Key::h, Key::i,
                               Key::j, Key::k, Key::l, Key::m, Key::n, Key::o, Key::p, Key::q, Key::r,
                               Key::s, Key::t, Key::u, Key::v, Key::w, Key::x, Key::y, Key::z};
        for (int index = 0; index < 26; ++index)
            QCOMPARE(keyText(letters[index].rawValue, *m_layout), std::optional(QString(QChar(u'a' + index))));
        const Key digits[] = {Key::zero, Key::one, Key::two,   Key::three, Key::four,
                              Key::five, Key::six, Key::seven, Key::eight, Key::nine};
        for (int digit = 0; digit < 10; ++digit)
            QCOMPARE(keyText(digits[digit].rawValue, *m_layout), std::optional(QString::number(digit)));
    }

    void fixedTexts_data()
    {
        QTest::addColumn<Key>("key");
        QTest::addColumn<QString>("text");
        QTest::newRow("return") << Key::returnKey << u"\u21A9"_s;
        QTest::newRow("delete") << Key::deleteKey << u"\u232B"_s;
        QTest::newRow("help is ? with an enclosing circle") << Key::help << u"?\u20DD"_s;
        QTest::newRow("F1") << Key::f1 << u"F1"_s;
        QTest::newRow("F17 sits at code 64") << Key::f17 << u"F17"_s;
        QTest::newRow("F20") << Key::f20 << u"F20"_s;
        QTest::newRow("keypad 0 is 0 with a keycap") << Key::keypad0 << u"0\u20E3"_s;
        QTest::newRow("keypad 9 at code 92") << Key::keypad9 << u"9\u20E3"_s;
        QTest::newRow("keypad clear") << Key::keypadClear << u"\u2612\u20E3"_s;
        QTest::newRow("keypad enter") << Key::keypadEnter << u"\u21A9\u20E3"_s;
    }
    void fixedTexts()
    {
        QFETCH(Key, key);
        QFETCH(QString, text);
        QCOMPARE(fixedKeyText(key.rawValue), std::optional(text));
    }

    void displayTexts_data()
    {
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("linux");
        QTest::addColumn<QString>("symbols");
        QTest::newRow("two with Shift and Command")
            << Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier) << u"Super+Shift+2"_s << u"⇧⌘2"_s;
        QTest::newRow("a with Control and Option, upper case")
            << Shortcut::fromKey(Key::a, Qt::ControlModifier | Qt::AltModifier) << u"Ctrl+Alt+A"_s << u"⌃⌥A"_s;
        QTest::newRow("F5 alone") << Shortcut::fromKey(Key::f5, {}) << u"F5"_s << u"F5"_s;
        QTest::newRow("space with Command")
            << Shortcut::fromKey(Key::space, Qt::MetaModifier) << u"Super+⎵"_s << u"⌘⎵"_s;
        QTest::newRow("return with Command")
            << Shortcut::fromKey(Key::returnKey, Qt::MetaModifier) << u"Super+↩"_s << u"⌘↩"_s;
        QTest::newRow("F12 alone") << Shortcut::fromKey(Key::f12, {}) << u"F12"_s << u"F12"_s;
        QTest::newRow("all four in fixed order")
            << Shortcut{Key::k.rawValue, 0x1B00} << u"Super+Ctrl+Alt+Shift+K"_s << u"⌃⌥⇧⌘K"_s;
        QTest::newRow("a key without text shows the replacement character")
            << Shortcut::fromKey(Key::shift, Qt::MetaModifier) << u"Super+\uFFFD"_s << u"⌘\uFFFD"_s;
    }
    void displayTexts()
    {
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, linux);
        QFETCH(QString, symbols);
        QCOMPARE(displayText(shortcut, *m_layout), linux);
        QCOMPARE(symbolText(shortcut, *m_layout), symbols);
    }

    void upperCasingIsFullUnicode()
    {
        const auto restore = qScopeGuard([] { setLayout(u"us"_s); });
        QVERIFY(setLayout(u"de"_s));
        QCOMPARE(displayText(Shortcut::fromKey(Key::minus, Qt::MetaModifier), *m_layout), u"Super+SS"_s);
    }

    void anUnknownLayoutShowsTheReplacementCharacter()
    {
        const auto none = makeNullKeyboardLayout();
        QCOMPARE(displayText(Shortcut::fromKey(Key::a, Qt::MetaModifier), *none), u"Super+\uFFFD"_s);
        QCOMPARE(displayText(Shortcut::fromKey(Key::f1, Qt::MetaModifier), *none), u"Super+F1"_s);
    }

    void withoutTheUsersLayoutKeysReadAsOnTheUsLayout()
    {
        const auto us = makeUsKeyboardLayout();
        QCOMPARE(displayText(Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier), *us),
                 u"Super+Shift+2"_s);
        // Every key the US layout types reads the same as on a real X server with that layout.
        for (std::int64_t code = 0; code < 128; ++code) {
            const auto guess = us->keyText(Key{code});
            if (guess && !fixedKeyText(code))
                QCOMPARE(guess, m_layout->keyText(Key{code}));
        }
    }
};

SCRIVLET_X11_TEST_MAIN(ShortcutTextTest)
#include "shortcut_text_test.moc"
