#include "keyboard_shortcuts/module_bundle.h"

#include <QCoreApplication>
#include <QTest>

using namespace KeyboardShortcuts;
using namespace Qt::Literals::StringLiterals;

namespace {

constexpr const char *keys[] = {"record_shortcut",
                                "press_shortcut",
                                "keyboard_shortcut_used_by_menu_item",
                                "keyboard_shortcut_used_by_system",
                                "keyboard_shortcuts_can_be_changed",
                                "keyboard_shortcut_taken_by_other_program"};

} // namespace

class ModuleBundleTest : public QObject {
    Q_OBJECT

private slots:
    void everyLanguageHasEveryText_data()
    {
        QTest::addColumn<QLocale>("locale");
        QTest::addColumn<QString>("recordShortcut");
        QTest::newRow("English") << QLocale(QLocale::English) << u"Record Shortcut"_s;
        QTest::newRow("German") << QLocale(QLocale::German, QLocale::Austria) << u"Tastenkürzel aufnehmen"_s;
        QTest::newRow("French") << QLocale(QLocale::French, QLocale::Canada) << u"Enregistrer un raccourci"_s;
        QTest::newRow("Spanish") << QLocale(QLocale::Spanish, QLocale::Mexico) << u"Grabar atajo"_s;
        QTest::newRow("an untranslated language falls back to English")
            << QLocale(QLocale::Finnish) << u"Record Shortcut"_s;
    }

    void everyLanguageHasEveryText()
    {
        QFETCH(QLocale, locale);
        QFETCH(QString, recordShortcut);
        const std::optional<ModuleBundle> bundle = ModuleBundle::open(locale);
        QVERIFY(bundle);
        QCOMPARE(bundle->localized("record_shortcut"), recordShortcut);
        for (const char *key : keys) {
            const QString text = bundle->localized(key);
            QVERIFY2(text != QLatin1String(key), key);
            QVERIFY2(!text.contains(u'_'), key);
        }
        // The menu item's title goes into exactly one place.
        const QString menuText = bundle->localized("keyboard_shortcut_used_by_menu_item");
        QCOMPARE(menuText.count(u"%1"_s), 1);
        QVERIFY(!menuText.contains(u"%2"_s));
        QVERIFY(menuText.arg(u"Quit"_s).contains(u"Quit"_s));
        QCOMPARE(bundle->localized("keyboard_shortcut_taken_by_other_program").count(u"%1"_s), 1);
    }

    void anUnknownKeyReadsAsItself()
    {
        QCOMPARE(ModuleBundle::open(QLocale(QLocale::German))->localized("no_such_key"), u"no_such_key"_s);
    }
};

QTEST_GUILESS_MAIN(ModuleBundleTest)
#include "module_bundle_test.moc"
