#include "keyboard_shortcuts/shortcut.h"

#include <QKeyEvent>
#include <QTest>

#include <unordered_set>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

class ShortcutTest : public QObject {
    Q_OBJECT

private slots:
    void makingFromKeyAndModifiers_data()
    {
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<qint64>("expectedModifiers");
        QTest::newRow("two with Shift and Command is the default 19/768")
            << qint64(Key::two.rawValue) << Qt::KeyboardModifiers(Qt::ShiftModifier | Qt::MetaModifier) << 768LL;
        QTest::newRow("Control is 0x1000")
            << qint64(Key::a.rawValue) << Qt::KeyboardModifiers(Qt::ControlModifier) << 0x1000LL;
        QTest::newRow("Option is Alt, 0x800")
            << qint64(Key::a.rawValue) << Qt::KeyboardModifiers(Qt::AltModifier) << 0x800LL;
        QTest::newRow("Command is Meta, 0x100")
            << qint64(Key::a.rawValue) << Qt::KeyboardModifiers(Qt::MetaModifier) << 0x100LL;
        QTest::newRow("no modifiers is 0") << qint64(Key::f5.rawValue) << Qt::KeyboardModifiers() << 0LL;
        QTest::newRow("all four is 0x1B00")
            << qint64(Key::space.rawValue)
            << (Qt::ControlModifier | Qt::AltModifier | Qt::ShiftModifier | Qt::MetaModifier) << 0x1B00LL;
        QTest::newRow("keypad and group-switch flags are dropped")
            << qint64(Key::two.rawValue)
            << (Qt::ShiftModifier | Qt::MetaModifier | Qt::KeypadModifier | Qt::GroupSwitchModifier) << 768LL;
    }
    void makingFromKeyAndModifiers()
    {
        QFETCH(qint64, keyCode);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(qint64, expectedModifiers);
        const Shortcut shortcut = Shortcut::fromKey(Key{keyCode}, modifiers);
        QCOMPARE(shortcut.carbonKeyCode, keyCode);
        QCOMPARE(shortcut.carbonModifiers, expectedModifiers);
        // The Qt flags of the shortcut give the same shortcut again.
        QCOMPARE(Shortcut::fromKey(shortcut.key(), shortcut.modifiers()), shortcut);
    }

    void normalisingCarbonValues_data()
    {
        QTest::addColumn<qint64>("given");
        QTest::addColumn<qint64>("kept");
        QTest::newRow("0x1B00 | 0x80 keeps 0x1B00") << (0x1B00LL | 0x80LL) << 0x1B00LL;
        QTest::newRow("Caps Lock bit 0x400 is dropped") << (0x300LL | 0x400LL) << 0x300LL;
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

    void encodingWritesTheStoredForm()
    {
        QCOMPARE(Shortcut::fromKey(Key::two, Qt::ShiftModifier | Qt::MetaModifier).toJson(),
                 R"({"carbonKeyCode":19,"carbonModifiers":768})"_ba);
    }

    void decoding_data()
    {
        QTest::addColumn<QByteArray>("json");
        QTest::addColumn<bool>("decodes");
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<qint64>("modifiers");
        QTest::newRow("the default") << R"({"carbonKeyCode":19,"carbonModifiers":768})"_ba << true << 19LL << 768LL;
        QTest::newRow("members in either order")
            << R"({"carbonModifiers":256,"carbonKeyCode":0})"_ba << true << 0LL << 256LL;
        QTest::newRow("decoding keeps extra bits")
            << R"({"carbonKeyCode":0,"carbonModifiers":255})"_ba << true << 0LL << 255LL;
        QTest::newRow("other members are ignored")
            << R"({"carbonKeyCode":1,"note":"x","carbonModifiers":512})"_ba << true << 1LL << 512LL;
        QTest::newRow("whitespace is allowed")
            << " {\n \"carbonKeyCode\" : 36 ,\n \"carbonModifiers\" : 256 }\n"_ba << true << 36LL << 256LL;
        QTest::newRow("64-bit values are kept exactly")
            << R"({"carbonKeyCode":9007199254740993,"carbonModifiers":-5})"_ba << true << 9007199254740993LL << -5LL;
        QTest::newRow("a whole number with a fraction part is an integer")
            << R"({"carbonKeyCode":19.0,"carbonModifiers":768})"_ba << true << 19LL << 768LL;
        QTest::newRow("missing modifiers fails") << R"({"carbonKeyCode":0})"_ba << false << 0LL << 0LL;
        QTest::newRow("missing key code fails") << R"({"carbonModifiers":256})"_ba << false << 0LL << 0LL;
        QTest::newRow("a string value fails")
            << R"({"carbonKeyCode":"19","carbonModifiers":768})"_ba << false << 0LL << 0LL;
        QTest::newRow("a fraction fails")
            << R"({"carbonKeyCode":19.5,"carbonModifiers":768})"_ba << false << 0LL << 0LL;
        QTest::newRow("null fails") << R"({"carbonKeyCode":null,"carbonModifiers":768})"_ba << false << 0LL << 0LL;
        QTest::newRow("a stored boolean read as text 0 fails") << "0"_ba << false << 0LL << 0LL;
        QTest::newRow("false fails") << "false"_ba << false << 0LL << 0LL;
        QTest::newRow("an array fails") << "[19,768]"_ba << false << 0LL << 0LL;
        QTest::newRow("truncated text fails") << "{\"carbonKeyCode\":19,\"carbonModif"_ba << false << 0LL << 0LL;
        QTest::newRow("empty text fails") << ""_ba << false << 0LL << 0LL;
        QTest::newRow("binary garbage fails") << "\xff\xfe\x00{"_ba << false << 0LL << 0LL;
    }
    void decoding()
    {
        QFETCH(QByteArray, json);
        QFETCH(bool, decodes);
        QFETCH(qint64, keyCode);
        QFETCH(qint64, modifiers);
        const std::optional<Shortcut> decoded = Shortcut::fromJson(json);
        QCOMPARE(decoded.has_value(), decodes);
        if (decoded)
            QCOMPARE(*decoded, (Shortcut{keyCode, modifiers}));
    }

    void encodingRoundTrips_data()
    {
        QTest::addColumn<qint64>("keyCode");
        QTest::addColumn<qint64>("modifiers");
        QTest::newRow("the default") << 19LL << 768LL;
        QTest::newRow("key a without modifiers") << 0LL << 0LL;
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

    void decodedExtraBitsAreNotEqualToAConstructedShortcut()
    {
        const auto decoded = Shortcut::fromJson(R"({"carbonKeyCode":0,"carbonModifiers":255})");
        QVERIFY(decoded);
        QVERIFY(*decoded != Shortcut::normalized(0, 255));
    }

    void equalityAndHashing_data()
    {
        QTest::addColumn<Shortcut>("first");
        QTest::addColumn<Shortcut>("second");
        QTest::addColumn<bool>("equal");
        QTest::newRow("same fields are equal") << Shortcut{19, 768} << Shortcut{19, 768} << true;
        QTest::newRow("normalised and plain equal")
            << Shortcut::normalized(19, 768 | 0x80) << Shortcut{19, 768} << true;
        QTest::newRow("same key, other modifiers differ") << Shortcut{19, 768} << Shortcut{19, 256} << false;
        QTest::newRow("same modifiers, other key differ") << Shortcut{19, 768} << Shortcut{20, 768} << false;
        QTest::newRow("swapped fields differ") << Shortcut{256, 0} << Shortcut{0, 256} << false;
        QTest::newRow("key a is not no shortcut") << Shortcut{0, 0} << Shortcut{0, 256} << false;
    }
    void equalityAndHashing()
    {
        QFETCH(Shortcut, first);
        QFETCH(Shortcut, second);
        QFETCH(bool, equal);
        QCOMPARE(first == second, equal);
        QCOMPARE(qHash(first) == qHash(second), equal);
        QCOMPARE(qHash(first, 42) == qHash(second, 42), equal);
        QCOMPARE(std::hash<Shortcut>{}(first) == std::hash<Shortcut>{}(second), equal);
        const std::unordered_set<Shortcut> set{first, second};
        QCOMPARE(set.size(), equal ? 1u : 2u);
    }

    void codingKeys_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<std::optional<CodingKey>>("key");
        QTest::newRow("carbonKeyCode") << u"carbonKeyCode"_s << std::optional(CodingKey::carbonKeyCode);
        QTest::newRow("carbonModifiers") << u"carbonModifiers"_s << std::optional(CodingKey::carbonModifiers);
        QTest::newRow("other case is no key") << u"CarbonKeyCode"_s << std::optional<CodingKey>();
        QTest::newRow("a number is no key") << u"0"_s << std::optional<CodingKey>();
        QTest::newRow("empty is no key") << QString() << std::optional<CodingKey>();
    }
    void codingKeys()
    {
        QFETCH(QString, text);
        QFETCH(std::optional<CodingKey>, key);
        QCOMPARE(codingKey(text), key);
        if (key)
            QCOMPARE(stringValue(*key), text);
    }

    void makingFromKeyEvents_data()
    {
        QTest::addColumn<int>("type");
        QTest::addColumn<quint32>("scanCode");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<std::optional<Shortcut>>("expected");
        const auto superShift = Qt::KeyboardModifiers(Qt::MetaModifier | Qt::ShiftModifier);
        QTest::newRow("press of the 2 key with Super+Shift")
            << int(QEvent::KeyPress) << 11u << superShift << std::optional(Shortcut{19, 768});
        QTest::newRow("release of the 2 key with Super+Shift")
            << int(QEvent::KeyRelease) << 11u << superShift << std::optional(Shortcut{19, 768});
        QTest::newRow("the key at the Y position is y whatever it types")
            << int(QEvent::KeyPress) << 29u << Qt::KeyboardModifiers(Qt::ControlModifier | Qt::AltModifier)
            << std::optional(Shortcut{16, 0x1800});
        QTest::newRow("keypad flag is dropped")
            << int(QEvent::KeyPress) << 104u << Qt::KeyboardModifiers(Qt::KeypadModifier)
            << std::optional(Shortcut{76, 0});
        QTest::newRow("shortcut override is no key event")
            << int(QEvent::ShortcutOverride) << 11u << superShift << std::optional<Shortcut>();
        QTest::newRow("unknown scan code gives none")
            << int(QEvent::KeyPress) << 255u << superShift << std::optional<Shortcut>();
        QTest::newRow("no scan code gives none")
            << int(QEvent::KeyPress) << 0u << superShift << std::optional<Shortcut>();
    }
    void makingFromKeyEvents()
    {
        QFETCH(int, type);
        QFETCH(quint32, scanCode);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        QFETCH(std::optional<Shortcut>, expected);
        const QKeyEvent event(QEvent::Type(type), Qt::Key_At, modifiers, scanCode, 0, 0);
        QCOMPARE(Shortcut::fromKeyEvent(event), expected);
    }
};

QTEST_MAIN(ShortcutTest)
#include "shortcut_test.moc"
