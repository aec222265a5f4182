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

using OptText = std::optional<QString>;

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
        QTest::addColumn<OptText>("text");
        QTest::newRow("us: the Y key types y") << u"us"_s << Key::y << OptText(u"y"_s);
        QTest::newRow("us: the minus key types -") << u"us"_s << Key::minus << OptText(u"-"_s);
        QTest::newRow("us: two is unshifted 2") << u"us"_s << Key::two << OptText(u"2"_s);
        QTest::newRow("de: the key at the Y position types z") << u"de"_s << Key::y << OptText(u"z"_s);
        QTest::newRow("de: the key at the Z position types y") << u"de"_s << Key::z << OptText(u"y"_s);
        QTest::newRow("de: the minus key types ß") << u"de"_s << Key::minus << OptText(u"ß"_s);
        QTest::newRow("de: the ISO key types <") << u"de"_s << Key{10} << OptText(u"<"_s);
        QTest::newRow("the table wins: F5") << u"de"_s << Key::f5 << OptText(u"F5"_s);
        QTest::newRow("help is ? with an enclosing circle") << u"us"_s << Key::help << OptText(u"?\u20DD"_s);
        QTest::newRow("F17 sits at code 64") << u"us"_s << Key::f17 << OptText(u"F17"_s);
        QTest::newRow("keypad 9 at code 92") << u"us"_s << Key::keypad9 << OptText(u"9\u20E3"_s);
        QTest::newRow("keypad clear") << u"us"_s << Key::keypadClear << OptText(u"\u2612\u20E3"_s);
        QTest::newRow("a modifier key types nothing") << u"us"_s << Key::shift << OptText();
        QTest::newRow("Fn has no X11 keycode") << u"us"_s << Key::function << OptText();
        QTest::newRow("a negative key code") << u"us"_s << Key{-1} << OptText();
    }
    void keyTextFollowsTheLayout()
    {
        QFETCH(QString, layout);
        QFETCH(Key, key);
        QFETCH(OptText, text);
        const auto restore = qScopeGuard([] { setLayout(u"us"_s); });
        QVERIFY(setLayout(layout));
        // No waiting: the layout is read afresh at every call.
        QCOMPARE(keyText(key.rawValue, *m_layout), text);
    }

    void displayTexts_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<Shortcut>("shortcut");
        QTest::addColumn<QString>("linux");
        QTest::addColumn<QString>("symbols");
        QTest::newRow("two with Shift and Command")
            << u"us"_s << Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier) << u"Super+Shift+2"_s
            << u"⇧⌘2"_s;
        QTest::newRow("a with Control and Option, upper case")
            << u"us"_s << Shortcut::fromKey(Key::a, Qt::ControlModifier | Qt::AltModifier) << u"Ctrl+Alt+A"_s
            << u"⌃⌥A"_s;
        QTest::newRow("space with Command")
            << u"us"_s << Shortcut::fromKey(Key::space, Qt::MetaModifier) << u"Super+⎵"_s << u"⌘⎵"_s;
        QTest::newRow("all four in fixed order")
            << u"us"_s << Shortcut{Key::k.rawValue, 0x1B00} << u"Super+Ctrl+Alt+Shift+K"_s << u"⌃⌥⇧⌘K"_s;
        QTest::newRow("a key without text shows the replacement character")
            << u"us"_s << Shortcut::fromKey(Key::shift, Qt::MetaModifier) << u"Super+\uFFFD"_s << u"⌘\uFFFD"_s;
        QTest::newRow("de: upper casing is full Unicode")
            << u"de"_s << Shortcut::fromKey(Key::minus, Qt::MetaModifier) << u"Super+SS"_s << u"⌘SS"_s;
    }
    void displayTexts()
    {
        QFETCH(QString, layout);
        QFETCH(Shortcut, shortcut);
        QFETCH(QString, linux);
        QFETCH(QString, symbols);
        const auto restore = qScopeGuard([] { setLayout(u"us"_s); });
        QVERIFY(setLayout(layout));
        QCOMPARE(displayText(shortcut, *m_layout), linux);
        QCOMPARE(symbolText(shortcut, *m_layout), symbols);
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
        int compared = 0;
        for (std::int64_t code = 0; code < 128; ++code) {
            const auto guess = us->keyText(Key{code});
            if (guess && !fixedKeyText(code)) {
                QCOMPARE(guess, m_layout->keyText(Key{code}));
                ++compared;
            }
        }
        QVERIFY(compared >= 36); // at least the letters and digits
    }
};

SCRIVLET_X11_TEST_MAIN(ShortcutTextTest)
#include "shortcut_text_test.moc"
