#include "platform/line_assembly.h"

#include <QPainter>
#include <QTest>

namespace {

// A synthetic page: each word is a block of ink standing on the baseline, 10 px per character.
constexpr int baseline = 34;
constexpr int characterWidth = 10;

struct Page {
    QImage image{400, 60, QImage::Format_Grayscale8};
    Platform::RecognizedLine line;

    Page()
    {
        image.fill(255);
        line.box = QRect(0, 10, 400, 31);
        line.baseline = baseline;
    }
    // Adds a word at x whose first letters characters are ink, and returns the x after its last character.
    int word(int x, const QString &text, qsizetype letters = -1)
    {
        const QRect box(x, 14, int(letters < 0 ? text.size() : letters) * characterWidth, baseline - 14 + 1);
        fill(box);
        line.words.push_back({text, box});
        return box.right() + 1;
    }
    // A thin stroke just below the baseline, as an underscore or an underline draws it.
    void stroke(int left, int right) { fill(QRect(QPoint(left, baseline + 2), QPoint(right, baseline + 3))); }
    void fill(const QRect &r)
    {
        QPainter painter(&image);
        painter.fillRect(r, Qt::black);
    }
};

} // namespace

class LineAssemblyTest : public QObject {
    Q_OBJECT

private slots:
    void underscoresAreRestoredOnlyWhereTheyAre()
    {
        {
            Page page;
            const int end = page.word(20, QStringLiteral("cert"));
            page.stroke(end, end + characterWidth - 1);
            page.word(end + characterWidth, QStringLiteral("chain"));
            QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("cert_chain"));
        }
        {
            Page page;
            const int end = page.word(20, QStringLiteral("cert"));
            page.word(end + characterWidth, QStringLiteral("chain"));
            QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("cert chain"));
        }
    }

    void strokesThatAreNotUnderscoresKeepTheSpace_data()
    {
        QTest::addColumn<bool>("underlined");
        QTest::addColumn<bool>("inkAbove");
        QTest::newRow("an underlined link's gap is a space") << true << false;
        QTest::newRow("a descender with ink above is a comma or bracket") << false << true;
    }
    void strokesThatAreNotUnderscoresKeepTheSpace()
    {
        QFETCH(bool, underlined);
        QFETCH(bool, inkAbove);
        Page page;
        const int end = page.word(20, QStringLiteral("see"));
        const int next = end + characterWidth;
        const int last = page.word(next, QStringLiteral("here"));
        if (underlined)
            page.stroke(20, last - 1);
        if (inkAbove) {
            page.stroke(end, next - 1);
            page.fill(QRect(end + 2, baseline - 8, 3, 12));
        }
        QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("see here"));
    }

    void underscoresAtTheEdgesOfALine()
    {
        Page page;
        page.stroke(20, 20 + 2 * characterWidth - 1);
        const int end = page.word(20 + 2 * characterWidth, QStringLiteral("attribute"));
        page.stroke(end, end + 2 * characterWidth - 1);
        QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("__attribute__"));
    }

    void underscoresTheEngineReadAreNotDoubled()
    {
        Page page;
        // The engine's box for "chain_" leaves out the underscore, which then lies in the gap.
        const int end = page.word(20, QStringLiteral("chain_"), 5);
        page.stroke(end, end + characterWidth - 1);
        page.word(end + characterWidth, QStringLiteral("len"));
        QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("chain_len"));
    }

    void wideGapsKeepTheirSpaces()
    {
        Page page;
        const int end = page.word(20, QStringLiteral("x;"));
        page.word(end + 6 * characterWidth, QStringLiteral("/*"));
        QCOMPARE(Platform::assembleLine(page.line, page.image), QStringLiteral("x;      /*"));
    }

    void withoutAPageTheWordsAreJoined()
    {
        Page page;
        const int end = page.word(20, QStringLiteral("cert"));
        page.stroke(end, end + characterWidth - 1);
        page.word(end + characterWidth, QStringLiteral("chain"));
        QCOMPARE(Platform::assembleLine(page.line, page.image.convertToFormat(QImage::Format_RGB32)),
                 QStringLiteral("cert chain"));
        QCOMPARE(Platform::assembleLine({}, page.image), QString());
    }
};

QTEST_MAIN(LineAssemblyTest)
#include "line_assembly_test.moc"
