#include "platform/text_reader.h"

#include "support/rendered_images.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;
using Platform::TextReader;

namespace {

const QString models = QString::fromLatin1(Platform::TesseractTextRecognizer::debianModelFolder);

} // namespace

// The machine's own models: the test set-up installs English, German, French, Spanish and Russian.
class TextReaderTest : public QObject {
    Q_OBJECT

private slots:
    void automaticReadingFindsEachCapturesLanguage_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QString>("language");
        QTest::newRow("English") << QStringList{u"The file could not be saved"_s, u"because the disk is full."_s}
                                 << u"eng"_s;
        QTest::newRow("German") << QStringList{u"Die Größe der Datei ist"_s, u"für den Export zu groß."_s} << u"deu"_s;
        QTest::newRow("French") << QStringList{u"Le fichier n'a pas été"_s, u"enregistré sur le disque."_s} << u"fra"_s;
        QTest::newRow("Russian") << QStringList{u"Не удалось сохранить файл"_s, u"на диск для записи."_s} << u"rus"_s;
    }
    void automaticReadingFindsEachCapturesLanguage()
    {
        QFETCH(QStringList, lines);
        QFETCH(QString, language);
        const auto reader = TextReader::load(u"auto:eng"_s);
        QVERIFY(reader);
        const std::vector<QString> read = reader->recognize(TestSupport::renderLines(lines));
        QCOMPARE(QStringList(read.begin(), read.end()), lines);
        QCOMPARE(reader->lastLanguages(), language);
        QCOMPARE(reader->choseAnother(), language != u"eng");
    }

    void withEnglishAloneAGermanCaptureIsReadAsEnglishReadsIt()
    {
        QTemporaryDir folder;
        QVERIFY(QFile::link(models + u"/eng.traineddata"_s, folder.filePath(u"eng.traineddata"_s)));
        const auto reader = TextReader::load(u"auto:deu"_s, folder.path());
        QVERIFY(reader);
        const std::vector<QString> read =
            reader->recognize(TestSupport::renderLines({u"Die Datei konnte nicht gelesen werden"_s}));
        QCOMPARE(read.size(), 1u);
        QVERIFY2(read.front().contains(u"Datei konnte nicht"_s), qPrintable(read.front()));
        QCOMPARE(reader->lastLanguages(), u"eng"_s);
    }

    void aChoiceReadsWithItsModelsOnly()
    {
        const auto german = TextReader::load(u"deu"_s);
        QVERIFY(german);
        const QStringList french{u"Le fichier n'a pas été enregistré"_s};
        QVERIFY(!german->recognize(TestSupport::renderLines(french)).empty());
        QCOMPARE(german->lastLanguages(), u"deu"_s);
        QVERIFY(!german->choseAnother());
        QVERIFY(!TextReader::load(u"xyz"_s));
        QVERIFY(!TextReader::load(u"deu+xyz"_s));
        QVERIFY(!TextReader::load(u"auto:deu"_s, QDir::tempPath() + u"/no-models-here"_s));
    }
};

QTEST_MAIN(TextReaderTest)
#include "text_reader_test.moc"
