#include "keyboard_shortcuts/scan_codes.h"

#include <QSet>
#include <QTest>

using namespace KeyboardShortcuts;

class ScanCodesTest : public QObject {
    Q_OBJECT

private slots:
    // Lookups are binary searches, and a key placed twice would make a grab fire for the wrong key.
    void tableIsSortedAndOneToOne()
    {
        const auto table = scanCodeTable();
        QSet<std::int64_t> keys;
        QSet<std::uint32_t> codes;
        std::int64_t previous = -1;
        for (const KeyScanCode &entry : table) {
            QVERIFY2(entry.key.rawValue > previous, qPrintable(QString::number(entry.key.rawValue)));
            previous = entry.key.rawValue;
            keys.insert(entry.key.rawValue);
            codes.insert(entry.scanCode);
            QCOMPARE(scanCode(entry.key), std::optional(entry.scanCode));
            QCOMPARE(keyForScanCode(entry.scanCode), std::optional(entry.key));
        }
        QCOMPARE(keys.size(), table.size());
        QCOMPARE(codes.size(), table.size());
    }

    // Known places of the evdev keyboard: the 2 key is AE02, keycode 11; a is AC01, 38; Return 36; F1 67.
    void namedKeysSitAtTheirEvdevKeycodes_data()
    {
        QTest::addColumn<qint64>("key");
        QTest::addColumn<std::optional<std::uint32_t>>("code");
        QTest::newRow("two is 11") << qint64(Key::two.rawValue) << std::optional(11u);
        QTest::newRow("zero is 19") << qint64(Key::zero.rawValue) << std::optional(19u);
        QTest::newRow("a is 38") << qint64(Key::a.rawValue) << std::optional(38u);
        QTest::newRow("y is 29 (AD06)") << qint64(Key::y.rawValue) << std::optional(29u);
        QTest::newRow("z is 52 (AB01)") << qint64(Key::z.rawValue) << std::optional(52u);
        QTest::newRow("return is 36") << qint64(Key::returnKey.rawValue) << std::optional(36u);
        QTest::newRow("left command is left Super 133") << qint64(Key::command.rawValue) << std::optional(133u);
        QTest::newRow("f1 is 67") << qint64(Key::f1.rawValue) << std::optional(67u);
        QTest::newRow("f20 is 198") << qint64(Key::f20.rawValue) << std::optional(198u);
        QTest::newRow("keypad enter is 104") << qint64(Key::keypadEnter.rawValue) << std::optional(104u);
        QTest::newRow("a code that names no key has none") << 10000LL << std::optional<std::uint32_t>();
        QTest::newRow("a negative code has none") << -19LL << std::optional<std::uint32_t>();
    }
    void namedKeysSitAtTheirEvdevKeycodes()
    {
        QFETCH(qint64, key);
        QFETCH(std::optional<std::uint32_t>, code);
        QCOMPARE(scanCode(Key{key}), code);
    }

    void everyNamedKeyHasAPlace()
    {
        // A sample from each group of names; the table's size covers the rest.
        for (const Key key : {Key::a, Key::nine, Key::function, Key::rightShift, Key::rightBracket, Key::leftArrow,
                              Key::help, Key::volumeDown, Key::f13, Key::keypadPlus})
            QVERIFY2(scanCode(key), qPrintable(QString::number(key.rawValue)));
        QCOMPARE(scanCodeTable().size(), 114u);
    }
};

QTEST_MAIN(ScanCodesTest)
#include "scan_codes_test.moc"
