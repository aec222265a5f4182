#include "keyboard_shortcuts/scan_codes.h"

#include <QSet>
#include <QTest>

using namespace KeyboardShortcuts;

using OptCode = std::optional<std::uint32_t>;

class ScanCodesTest : public QObject {
    Q_OBJECT

private slots:
    // Lookups are binary searches, and a key placed twice would make a grab fire for the wrong key.
    void tableIsSortedOneToOneAndComplete()
    {
        const auto table = scanCodeTable();
        QSet<std::uint32_t> codes;
        std::int64_t previous = -1;
        for (const KeyScanCode &entry : table) {
            QVERIFY2(entry.key.rawValue > previous, qPrintable(QString::number(entry.key.rawValue)));
            previous = entry.key.rawValue;
            codes.insert(entry.scanCode);
            QCOMPARE(scanCode(entry.key), std::optional(entry.scanCode));
            QCOMPARE(keyForScanCode(entry.scanCode), std::optional(entry.key));
        }
        QCOMPARE(codes.size(), table.size());
        QCOMPARE(table.size(), 114u); // every named key
    }

    // Known places of the evdev keyboard: the 2 key is AE02, keycode 11; a is AC01, 38; Return 36; F1 67.
    void namedKeysSitAtTheirEvdevKeycodes_data()
    {
        QTest::addColumn<Key>("key");
        QTest::addColumn<OptCode>("code");
        QTest::newRow("two is 11") << Key::two << OptCode(11u);
        QTest::newRow("a is 38") << Key::a << OptCode(38u);
        QTest::newRow("y is 29 (AD06)") << Key::y << OptCode(29u);
        QTest::newRow("z is 52 (AB01)") << Key::z << OptCode(52u);
        QTest::newRow("return is 36") << Key::returnKey << OptCode(36u);
        QTest::newRow("left command is left Super 133") << Key::command << OptCode(133u);
        QTest::newRow("f20 is 198") << Key::f20 << OptCode(198u);
        QTest::newRow("keypad enter is 104") << Key::keypadEnter << OptCode(104u);
        QTest::newRow("a code that names no key") << Key{10000} << OptCode();
        QTest::newRow("a negative code") << Key{-19} << OptCode();
    }
    void namedKeysSitAtTheirEvdevKeycodes()
    {
        QFETCH(Key, key);
        QFETCH(OptCode, code);
        QCOMPARE(scanCode(key), code);
    }
};

QTEST_MAIN(ScanCodesTest)
#include "scan_codes_test.moc"
