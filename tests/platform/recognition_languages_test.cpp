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
        QTest::addColumn<QString>("desktop");
        QTest::addColumn<QString>("languages");
        QTest::newRow("the choice, in its order") << QStringList{u"fra"_s, u"deu"_s} << all << u"eng"_s << u"fra+deu"_s;
        QTest::newRow("a chosen language gone")
            << QStringList{u"ita"_s, u"deu"_s, u"deu"_s} << all << u"eng"_s << u"deu"_s;
        QTest::newRow("nothing chosen is there: automatic") << QStringList{u"ita"_s} << all << u"fra"_s << u"fra+eng"_s;
        QTest::newRow("automatic, English desktop") << QStringList() << all << u"eng"_s << u"eng"_s;
        QTest::newRow("automatic, the desktop's model missing") << QStringList() << all << u"rus"_s << u"eng"_s;
        QTest::newRow("automatic without English") << QStringList() << QStringList{u"deu"_s} << u"deu"_s << u"deu"_s;
        QTest::newRow("nothing installed") << QStringList{u"deu"_s} << QStringList() << u"deu"_s << u"eng"_s;
    }
    void choice()
    {
        QFETCH(QStringList, choice);
        QFETCH(QStringList, installed);
        QFETCH(QString, desktop);
        QFETCH(QString, languages);
        QCOMPARE(Platform::chooseLanguages(choice, installed, desktop), languages);
    }
};

QTEST_GUILESS_MAIN(RecognitionLanguagesTest)
#include "recognition_languages_test.moc"
