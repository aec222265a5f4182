#include "platform/barcode_observation.h"

#include <QTest>

using Observations = std::vector<Platform::BarcodeObservation>;

namespace {

Platform::BarcodeObservation at(const QString &name, QRect r)
{
    return {name, QStringLiteral("QRCode"), QPolygon({r.topLeft(), r.topRight(), r.bottomRight(), r.bottomLeft()})};
}

} // namespace

class BarcodeObservationTest : public QObject {
    Q_OBJECT

private slots:
    // Side by side and stacked real codes are ordered in zxing_barcode_detector_test; these are the row rules.
    void readingOrder_data()
    {
        QTest::addColumn<Observations>("input");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("a code below the middle of the row starts a new one")
            << Observations{at("b", {10, 80, 100, 100}), at("a", {300, 10, 100, 100})} << QStringList{"a", "b"};
        QTest::newRow("two rows of two") << Observations{at("d", {300, 310, 50, 50}), at("c", {10, 300, 50, 50}),
                                                         at("b", {300, 5, 50, 50}), at("a", {10, 10, 50, 50})}
                                         << QStringList{"a", "b", "c", "d"};
        QTest::newRow("nothing stays nothing") << Observations{} << QStringList{};
    }
    void readingOrder()
    {
        QFETCH(Observations, input);
        QFETCH(QStringList, expected);
        QStringList names;
        for (const auto &o : Platform::inReadingOrder(input))
            names.push_back(*o.payload);
        QCOMPARE(names, expected);
    }

    void describeIsOneLine()
    {
        QCOMPARE(Platform::describe({}), QStringLiteral("[]"));
        QCOMPARE(Platform::describe({at("a \"b\"\nc", {1, 2, 30, 40})}),
                 QStringLiteral("[QRCode \"a \\\"b\\\"\\nc\" at (1, 2 30x40)]"));
        auto binary = at({}, {0, 0, 10, 10});
        binary.payload.reset();
        binary.symbology = QStringLiteral("DataMatrix");
        QCOMPARE(Platform::describe({binary, at("x", {20, 0, 10, 10})}),
                 QStringLiteral("[DataMatrix <binary> at (0, 0 10x10), QRCode \"x\" at (20, 0 10x10)]"));
    }
};

QTEST_MAIN(BarcodeObservationTest)
#include "barcode_observation_test.moc"
