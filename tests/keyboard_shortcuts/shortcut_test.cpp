#include "keyboard_shortcuts/shortcut.h"

#include <QKeyEvent>
#include <QTest>

#include <unordered_set>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

using OptShortcut = std::optional<Shortcut>;

class ShortcutTest : public QObject {
    Q_OBJECT

private slots:
    void makingFromKeyAndModifiers_data()
    {
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<qint64>("expected");
        QTest::newRow("Shift+Command is 768") << (Qt::ShiftModifier | Qt::MetaModifier) << 768LL;
        QTest::newRow("Command alone is 0x100") << Qt::KeyboardModifiers(Qt::MetaModifier) << 0x100LL;
        QTest::newRow("all four is 0x1B00")
            << (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier) << 0x1B00LL;
        QTest::newRow("keypad and group-switch flags are dropped")
            << (Qt::AltModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier) << 0x800LL;
    }
    void makingFromKeyAndModifiers()
    {
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(qint64, expected);
        const Shortcut shortcut = Shortcut::fromKey(Key::two, modifiers);
        QCOMPARE(shortcut, (Shortcut{19, expected}));
        QCOMPARE(Shortcut::fromKey(shortcut.key(), shortcut.modifiers()), shortcut);
    }

    void normalisingCarbonValues_data()
    {
        QTest::addColumn<qint64>("given");
        QTest::addColumn<qint64>("kept");
        QTest::newRow("0x80 and Caps Lock 0x400 are dropped") << (0x1B00LL | 0x80LL | 0x400LL) << 0x1B00LL;
        QTest::newRow("all bits set keeps the four") << -1LL << 0x1B00LL;
        QTest::newRow("bits above 32 are dropped") << ((1LL << 40) | 0x100LL) << 0x100LL;
    }
    void normalisingCarbonValues()
    {
        QFETCH(qint64, given);
        QFETCH(qint64, kept);
        QCOMPARE(Shortcut::normalized(7, given), (Shortcut{7, kept}));
        QCOMPARE(carbonValue(modifierFlags(given)), kept);
    }

    void decoding_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<OptShortcut>("expected");
        QTest::newRow("the default") << "{\"carbonKeyCode\":19,\"carbonModifiers\":768}"_ba << OptShortcut({19, 768});
        QTest::newRow("members in either order, extra bits kept")
            << "{\"carbonModifiers\":255,\"carbonKeyCode\":0}"_ba << OptShortcut({0, 255});
        QTest::newRow("other members and whitespace are ignored")
            << " {\"carbonKeyCode\" : 1,\n\"note\":\"x\",\"carbonModifiers\":512}\n"_ba << OptShortcut({1, 512});
        QTest::newRow("64-bit values are kept exactly")
            << "{\"carbonKeyCode\":9007199254740993,\"carbonModifiers\":-5}"_ba << OptShortcut({9007199254740993, -5});
        QTest::newRow("a whole number with a fraction part")
            << "{\"carbonKeyCode\":19.0,\"carbonModifiers\":768}"_ba << OptShortcut({19, 768});
        QTest::newRow("missing modifiers") << "{\"carbonKeyCode\":0}"_ba << OptShortcut();
        QTest::newRow("a string value") << "{\"carbonKeyCode\":\"19\",\"carbonModifiers\":768}"_ba << OptShortcut();
        QTest::newRow("a fraction") << "{\"carbonKeyCode\":19.5,\"carbonModifiers\":768}"_ba << OptShortcut();
        QTest::newRow("a stored false read as text 0") << "0"_ba << OptShortcut();
        QTest::newRow("an array") << "[19,768]"_ba << OptShortcut();
        QTest::newRow("truncated") << "{\"carbonKeyCode\":19,\"carbonModif"_ba << OptShortcut();
        QTest::newRow("empty") << ""_ba << OptShortcut();
        QTest::newRow("binary garbage") << "\xff\xfe\x00{"_ba << OptShortcut();
    }
    void decoding()
    {
        QFETCH(QByteArray, json);
        QFETCH(OptShortcut, expected);
        QCOMPARE(Shortcut::fromJson(json), expected);
        if (QByteArray(QTest::currentDataTag()) == "the default") // also the exact stored form
            QCOMPARE(expected->toJson(), json);
    }

    void encodingRoundTrips_data()
    {
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<qint64>("modifiers");
        QTest::newRow("undecoded extra bits") << 0LL << 255LL;
        QTest::newRow("negative values") << -1LL << -4096LL;
        QTest::newRow("extreme values") << std::numeric_limits<qint64>::max() << std::numeric_limits<qint64>::min();
    }
    void encodingRoundTrips()
    {
        QFETCH(qint64, keyCode);
        QFETCH(qint64, modifiers);
        const Shortcut shortcut{keyCode, modifiers};
        QCOMPARE(Shortcut::fromJson(shortcut.toJson()), std::optional(shortcut));
    }

    void equalityAndHashing_data()
    {
        QTest::addColumn<Shortcut>("first");
        QTest::addColumn<Shortcut>("second");
        QTest::addColumn<bool>("equal");
        QTest::newRow("normalised and plain equal")
            << Shortcut::normalized(19, 768 | 0x80) << Shortcut{19, 768} << true;
        QTest::newRow("other modifiers differ") << Shortcut{19, 768} << Shortcut{19, 256} << false;
        QTest::newRow("other key differs") << Shortcut{19, 768} << Shortcut{20, 768} << false;
        QTest::newRow("swapped fields differ") << Shortcut{256, 0} << Shortcut{0, 256} << false;
        QTest::newRow("decoded extra bits differ from normalised")
            << Shortcut{0, 255} << Shortcut::normalized(0, 255) << false;
    }
    void equalityAndHashing()
    {
        QFETCH(Shortcut, first);
        QFETCH(Shortcut, second);
        QFETCH(bool, equal);
        QCOMPARE(first == second, equal);
        QCOMPARE(qHash(first, 42) == qHash(second, 42), equal);
        const std::unordered_set<Shortcut> set{first, second};
        QCOMPARE(set.size(), equal ? 1u : 2u);
    }

    void makingFromKeyEvents_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<quint32>("scanCode");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<OptShortcut>("expected");
        const auto superShift = Qt::KeyboardModifiers(Qt::MetaModifier | Qt::ShiftModifier);
        QTest::newRow("release of 2 with Super+Shift")
            << int(QEvent::KeyRelease) << 11u << superShift << OptShortcut({19, 768});
        QTest::newRow("the key at the Y position is y whatever it types")
            << int(QEvent::KeyPress) << 29u << Qt::KeyboardModifiers(Qt::ControlModifier | Qt::AltModifier)
            << OptShortcut({16, 0x1800});
        QTest::newRow("keypad flag is dropped")
            << int(QEvent::KeyPress) << 104u << Qt::KeyboardModifiers(Qt::KeypadModifier) << OptShortcut({76, 0});
        QTest::newRow("shortcut override") << int(QEvent::ShortcutOverride) << 11u << superShift << OptShortcut();
        QTest::newRow("unknown scan code") << int(QEvent::KeyPress) << 255u << superShift << OptShortcut();
    }
    void makingFromKeyEvents()
    {
        QFETCH(int, type);
        QFETCH(quint32, scanCode);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(OptShortcut, expected);
        const QKeyEvent event(QEvent::Type(type), Qt::Key_At, modifiers, scanCode, 0, 0);
        QCOMPARE(Shortcut::fromKeyEvent(event), expected);
    }
};

QTEST_MAIN(ShortcutTest)
#include "shortcut_test.moc"
