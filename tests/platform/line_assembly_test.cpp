#include "platform/line_assembly.h"

#include <QPainter>
#include <QTest>

namespace {

constexpr int baseline = 34;
constexpr int cellWidth = 10;

// A synthetic line drawn from a layout, one 10 px cell per character from x = 20: a run of other characters is a
// word of ink standing on the baseline, ' ' is a gap, '_' a thin stroke just below the baseline, ',' such a stroke
// with ink above it (a comma or a bracket). texts, if given, replaces what the engine read for each word.
Platform::RecognizedLine drawLine(QImage &image, const QString &layout, bool underlined, const QStringList &texts)
{
    image = QImage(400, 60, QImage::Format_Grayscale8);
    image.fill(255);
    Platform::RecognizedLine line{{}, QRect(0, 10, 400, 31), baseline};
    QPainter painter(&image);
    const auto isInk = [&](qsizetype i) { return !QStringLiteral(" _,").contains(layout[i]); };
    for (qsizetype i = 0; i < layout.size(); ++i) {
        const int x = 20 + int(i) * cellWidth;
        if (!isInk(i)) {
            if (layout[i] != ' ')
                painter.fillRect(x, baseline + 2, cellWidth, 2, Qt::black);
            if (layout[i] == ',')
                painter.fillRect(x + 2, baseline - 8, 3, 12, Qt::black);
            continue;
        }
        const QRect cell(x, 14, cellWidth, baseline - 13);
        painter.fillRect(cell, Qt::black);
        if (i == 0 || !isInk(i - 1))
            line.words.push_back({QString(), cell});
        line.words.back().text += layout[i];
        line.words.back().box |= cell;
    }
    if (underlined)
        painter.fillRect(QRect(QPoint(line.words.front().box.left(), baseline + 2),
                               QPoint(line.words.back().box.right(), baseline + 3)),
                         Qt::black);
    for (qsizetype i = 0; i < texts.size(); ++i)
        line.words[i].text = texts[i];
    return line;
}

} // namespace

class LineAssemblyTest : public QObject {
    Q_OBJECT

private slots:
    void assemblesTheLine_data()
    {
        QTest::addColumn<QString>("layout");
        QTest::addColumn<bool>("underlined");
        QTest::addColumn<QStringList>("texts");
        QTest::addColumn<QString>("expected");
        QTest::newRow("an underscore in a gap is restored") << "cert_chain" << false << QStringList{} << "cert_chain";
        QTest::newRow("a bare gap stays a space") << "cert chain" << false << QStringList{} << "cert chain";
        QTest::newRow("an underlined link's gap is a space") << "see here" << true << QStringList{} << "see here";
        QTest::newRow("a stroke with ink above is not an underscore")
            << "see,here" << false << QStringList{} << "see here";
        QTest::newRow("underscores at the edges") << "__attribute__" << false << QStringList{} << "__attribute__";
        QTest::newRow("an underscore the engine read is not doubled")
            << "chain_len" << false << QStringList{"chain_", "len"} << "chain_len";
        QTest::newRow("wide gaps keep their spaces") << "x;      /*" << false << QStringList{} << "x;      /*";
    }
    void assemblesTheLine()
    {
        QFETCH(QString, layout);
        QFETCH(bool, underlined);
        QFETCH(QStringList, texts);
        QFETCH(QString, expected);
        QImage image;
        const auto line = drawLine(image, layout, underlined, texts);
        QCOMPARE(Platform::assembleLine(line, image), expected);
    }

    void withoutAGreyPageTheWordsAreJoined()
    {
        QImage image;
        const auto line = drawLine(image, QStringLiteral("cert_chain"), false, {});
        QCOMPARE(Platform::assembleLine(line, image.convertToFormat(QImage::Format_RGB32)), "cert chain");
        QCOMPARE(Platform::assembleLine({}, image), QString());
    }
};

QTEST_MAIN(LineAssemblyTest)
#include "line_assembly_test.moc"
