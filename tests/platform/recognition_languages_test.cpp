#include "platform/recognition_languages.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::Literals::StringLiterals;

class RecognitionLanguagesTest : public QObject {
    Q_OBJECT

private slots:
    void installedModelsAreListedWithoutTheOnesThatReadNoLanguage()
    {
        QTemporaryDir folder;
        QVERIFY(QDir(folder.path()).mkdir(u"script"_s));
        for (const QString &file : {u"eng.traineddata"_s, u"deu.traineddata"_s, u"osd.traineddata"_s,
                                    u"equ.traineddata"_s, u"script/Latin.traineddata"_s, u"notes.txt"_s}) {
            QFile model(folder.filePath(file));
            QVERIFY(model.open(QIODevice::WriteOnly));
        }
        QCOMPARE(Platform::installedLanguages(folder.path()), (QStringList{u"deu"_s, u"eng"_s, u"script/Latin"_s}));
        QCOMPARE(Platform::installedLanguages(folder.filePath(u"missing"_s)), QStringList());
    }

    void packagesAndNames_data()
    {
        QTest::addColumn<QString>("language");
        QTest::addColumn<QString>("package");
        QTest::addColumn<QString>("name");
        QTest::newRow("language") << u"deu"_s << u"tesseract-ocr-deu"_s << u"German"_s;
        QTest::newRow("variant") << u"chi_sim"_s << u"tesseract-ocr-chi-sim"_s << u"chi_sim"_s;
        QTest::newRow("script") << u"script/Latin"_s << u"tesseract-ocr-script-latn"_s << u"script/Latin"_s;
    }
    void packagesAndNames()
    {
        QFETCH(QString, language);
        QFETCH(QString, package);
        QFETCH(QString, name);
        QCOMPARE(Platform::debianPackage(language), package);
        QCOMPARE(Platform::languageName(language), name);
    }

    void theDesktopLanguageIsTheLocales()
    {
        QCOMPARE(Platform::desktopLanguage(QLocale(u"de_DE"_s)), u"deu"_s);
        QCOMPARE(Platform::desktopLanguage(QLocale(u"fr_CA"_s)), u"fra"_s);
        QCOMPARE(Platform::desktopLanguage(QLocale::c()), u"eng"_s);
    }

    void choice_data()
    {
        const QStringList all{u"deu"_s, u"eng"_s, u"fra"_s};
        QTest::addColumn<QStringList>("choice");
        QTest::addColumn<QStringList>("installed");
        QTest::addColumn<QString>("languages");
        QTest::newRow("the choice, in its order") << QStringList{u"fra"_s, u"deu"_s} << all << u"fra+deu"_s;
        QTest::newRow("a chosen language gone") << QStringList{u"ita"_s, u"deu"_s, u"deu"_s} << all << u"deu"_s;
        QTest::newRow("nothing chosen is there") << QStringList{u"ita"_s} << all << u"auto:rus"_s;
        QTest::newRow("nothing chosen") << QStringList() << all << u"auto:rus"_s;
    }
    void choice()
    {
        QFETCH(QStringList, choice);
        QFETCH(QStringList, installed);
        QFETCH(QString, languages);
        QCOMPARE(Platform::chooseLanguages(choice, installed, u"rus"_s), languages);
    }

    void languageOfAText_data()
    {
        const QStringList latin{u"deu"_s, u"eng"_s, u"fra"_s, u"spa"_s};
        QTest::addColumn<QString>("text");
        QTest::addColumn<QStringList>("candidates");
        QTest::addColumn<QString>("language");
        QTest::newRow("German") << u"Die Datei konnte nicht gelesen werden, und der Vorgang ist abgebrochen"_s << latin
                                << u"deu"_s;
        // As the English model reads it: no umlauts, the words still there.
        QTest::newRow("German without umlauts")
            << u"Konnte die Datei fur den Export nicht offnen"_s << latin << u"deu"_s;
        QTest::newRow("French") << u"Impossible de lire le fichier : les droits sont insuffisants pour cette action"_s
                                << latin << u"fra"_s;
        QTest::newRow("Spanish") << u"No se pudo abrir el archivo porque los permisos no son suficientes"_s << latin
                                 << u"spa"_s;
        QTest::newRow("Russian") << u"Не удалось открыть файл для записи"_s << QStringList{u"rus"_s, u"ukr"_s}
                                 << u"rus"_s;
        QTest::newRow("too few words to tell") << u"Speichern unter"_s << latin << QString();
        // Names and addresses with a stray "de" and "se" are no Spanish.
        QTest::newRow("stray short words")
            << u"Copyright: 2019, Bjorn Stenberg, <bjorn@haxx.se> Tom Jones <tom@gmx.de> "
               u"Milo Casagrande <milo@ubuntu.com> http://scripts.sil.org/OFL"_s
            << latin << QString();
        QTest::newRow("a language not among the candidates")
            << u"Die Datei konnte nicht gelesen werden"_s << QStringList{u"eng"_s, u"fra"_s} << QString();
    }
    void languageOfAText()
    {
        QFETCH(QString, text);
        QFETCH(QStringList, candidates);
        QFETCH(QString, language);
        QCOMPARE(Platform::identifyLanguage(text, candidates).value_or(QString()), language);
    }

    void scripts()
    {
        QCOMPARE(Platform::scriptOf(u"deu"), u"Latin"_s);
        QCOMPARE(Platform::scriptOf(u"rus"), u"Cyrillic"_s);
        QCOMPARE(Platform::scriptOf(u"script/Cyrillic"), u"Cyrillic"_s);
        QCOMPARE(Platform::scriptOf(u"xyz"), QString());
    }
};

QTEST_GUILESS_MAIN(RecognitionLanguagesTest)
#include "recognition_languages_test.moc"
