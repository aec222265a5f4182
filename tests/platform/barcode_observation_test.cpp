#include "platform/barcode_observation.h"

#include <QTest>

namespace {

QPolygon cornersOf(QRect r)
{
    return QPolygon({r.topLeft(), r.topRight(), r.bottomRight(), r.bottomLeft()});
}

Platform::BarcodeObservation at(const QString &name, QRect r)
{
    return {name, QStringLiteral("QRCode"), cornersOf(r)};
}

QStringList namesOf(const std::vector<Platform::BarcodeObservation> &observations)
{
    QStringList names;
    for (const auto &o : observations)
        names.push_back(o.payload.value_or(QString()));
    return names;
}

} // namespace

class BarcodeObservationTest : public QObject {
    Q_OBJECT

private slots:
    void readingOrder_data()
    {
        QTest::addColumn<std::vector<Platform::BarcodeObservation>>("input");
        QTest::addColumn<QStringList>("expected");
        QTest::newRow("a row reads left to right")
            << std::vector{at("b", {300, 10, 100, 100}), at("a", {10, 10, 100, 100})} << QStringList{"a", "b"};
        QTest::newRow("a slightly lower left code is still first in its row")
            << std::vector{at("b", {300, 10, 100, 100}), at("a", {10, 40, 100, 100})} << QStringList{"a", "b"};
        QTest::newRow("rows read top to bottom whatever their x")
            << std::vector{at("b", {10, 300, 100, 100}), at("a", {300, 10, 100, 100})} << QStringList{"a", "b"};
        QTest::newRow("a code below the middle of the row starts a new one")
            << std::vector{at("b", {10, 80, 100, 100}), at("a", {300, 10, 100, 100})} << QStringList{"a", "b"};
        QTest::newRow("two rows of two") << std::vector{at("d", {300, 310, 50, 50}), at("c", {10, 300, 50, 50}),
                                                        at("b", {300, 5, 50, 50}), at("a", {10, 10, 50, 50})}
                                         << QStringList{"a", "b", "c", "d"};
        QTest::newRow("nothing stays nothing") << std::vector<Platform::BarcodeObservation>{} << QStringList{};
    }
    void readingOrder()
    {
        QFETCH(std::vector<Platform::BarcodeObservation>, input);
        QFETCH(QStringList, expected);
        QCOMPARE(namesOf(Platform::inReadingOrder(input)), expected);
    }

    void describeIsOneLine_data()
    {
        QTest::addColumn<std::vector<Platform::BarcodeObservation>>("observations");
        QTest::addColumn<QString>("expected");
        QTest::newRow("none") << std::vector<Platform::BarcodeObservation>{} << QStringLiteral("[]");
        QTest::newRow("line breaks and quotes are escaped")
            << std::vector{at("a \"b\"\nc", {1, 2, 30, 40})}
            << QStringLiteral("[QRCode \"a \\\"b\\\"\\nc\" at (1, 2 30x40)]");
        QTest::newRow("binary payloads are marked")
            << std::vector{Platform::BarcodeObservation{std::nullopt, QStringLiteral("DataMatrix"),
                                                        cornersOf(QRect(0, 0, 10, 10))},
                           at("x", {20, 0, 10, 10})}
            << QStringLiteral("[DataMatrix <binary> at (0, 0 10x10), QRCode \"x\" at (20, 0 10x10)]");
    }
    void describeIsOneLine()
    {
        QFETCH(std::vector<Platform::BarcodeObservation>, observations);
        QFETCH(QString, expected);
        QCOMPARE(Platform::describe(observations), expected);
    }
};

QTEST_MAIN(BarcodeObservationTest)
#include "barcode_observation_test.moc"
