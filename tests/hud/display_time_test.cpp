#include "hud/display_time.h"

#include <QTest>

class DisplayTimeTest : public QObject {
    Q_OBJECT
private slots:
    void displayTime_data();
    void displayTime();
};

void DisplayTimeTest::displayTime_data()
{
    QTest::addColumn<QString>("status");
    QTest::addColumn<double>("seconds");

    QTest::newRow("short text is raised to 2.0 (12 × 0.06 + 0.5 = 1.22)") << QStringLiteral("Copied Text!") << 2.0;
    QTest::newRow("empty text is raised to 2.0") << QString() << 2.0;
    QTest::newRow("90 characters are lowered to 5.0 (5.9)") << QString(90, QLatin1Char('x')) << 5.0;
    QTest::newRow("50 characters give 3.5") << QString(50, QLatin1Char('x')) << 3.5;
    QTest::newRow("75 characters give exactly the upper bound") << QString(75, QLatin1Char('x')) << 5.0;
    // 40 clusters: "e" + combining acute is one character on screen, two UTF-16 units.
    QTest::newRow("combining marks count once") << QStringLiteral("e\u0301").repeated(40) << 2.9;
    // 40 clusters of a family emoji: man ZWJ woman ZWJ girl, eight UTF-16 units each.
    QTest::newRow("emoji sequences count once")
        << QStringLiteral("\U0001F468\u200D\U0001F469\u200D\U0001F467").repeated(40) << 2.9;
}

void DisplayTimeTest::displayTime()
{
    QFETCH(QString, status);
    QFETCH(double, seconds);
    QVERIFY2(qAbs(::displayTime(status) - seconds) < 1e-9, qPrintable(QString::number(::displayTime(status))));
}

QTEST_MAIN(DisplayTimeTest)
#include "display_time_test.moc"
