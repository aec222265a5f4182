#include "app/app_delegate.h"
#include "app/key_equivalent.h"
#include "app/preferences.h"
#include "app/settings_window_controller.h"
#include "app/shortcut_names.h"
#include "hud/progress_hud.h"
#include "keyboard_shortcuts/fake_hot_key_service.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/menu_item_lookup.h"
#include "keyboard_shortcuts/shortcut_center.h"
#include "platform/qt_clipboard.h"
#include "support/fake_platform.h"
#include "support/stdout_capture.h"
#include "support/xvfb_server.h"

#include <QFile>
#include <QLabel>

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QMenu>
#include <QMessageBox>
#include <QSystemTrayIcon>
#include <QTest>

using Platform::BarcodeObservation;
using TestSupport::FakeBarcodeDetection;
using TestSupport::FakeNotifier;
using TestSupport::FakeRegionCaptureTool;
using TestSupport::FakeStoreReview;
using TestSupport::FakeTextRecognition;
using TestSupport::FakeUrlOpener;
using TestSupport::FakeWidgetCenter;

namespace {

// Titles with their key equivalents, separators as "-", the way a person reads the menu.
QStringList describe(const QMenu *menu)
{
    QStringList items;
    for (const QAction *action : menu->actions())
        items << (action->isSeparator() ? QStringLiteral("-") : action->text().replace(QLatin1Char('\t'), " | "));
    return items;
}

} // namespace

class AppDelegateTest : public QObject {
    Q_OBJECT

private:
    TestSupport::IsolatedXdgEnvironment m_xdg;
    FakeRegionCaptureTool *m_tool = nullptr;
    FakeUrlOpener *m_opener = nullptr;
    FakeTextRecognition *m_text = nullptr;
    FakeBarcodeDetection *m_barcodes = nullptr;
    FakeWidgetCenter *m_widgets = nullptr;
    FakeNotifier *m_notifier = nullptr;
    // A HUD of each test's own, so that a hide still pending from one test cannot clear the next one's status.
    std::unique_ptr<ProgressHUD> m_hud;
    std::unique_ptr<AppDelegate> m_delegate;

    QString hudStatus() const { return m_hud->statusLabel()->text(); }
    static QStringList storedHistory() { return textHistory(sharedDefaults()); }

    // Runs one text capture of a region that the fake engine reads as these lines.
    void grabText(std::vector<QString> lines)
    {
        m_text->lines = std::move(lines);
        const int before = m_text->images.size();
        m_delegate->getText();
        QTRY_COMPARE(m_text->images.size(), before + 1);
        QCoreApplication::processEvents(); // the delivery step is queued to the main thread
    }

    void storeHistory(const QStringList &history)
    {
        UserDefaults shared = sharedDefaults();
        setTextHistory(shared, history);
    }

    // The program's shortcut centre, and the test's HUD.
    AppCollaborators hudOnly()
    {
        return {{}, [this]() -> ProgressHUD & { return *m_hud; }};
    }

    // Fakes of every service but the clipboard, which is the real one; the fakes are reachable through the members.
    Platform::Services makeServices()
    {
        Platform::Services services;
        auto tool = std::make_unique<FakeRegionCaptureTool>();
        auto opener = std::make_unique<FakeUrlOpener>();
        auto text = std::make_unique<FakeTextRecognition>();
        auto barcodes = std::make_unique<FakeBarcodeDetection>();
        auto widgets = std::make_unique<FakeWidgetCenter>();
        auto notifier = std::make_unique<FakeNotifier>();
        m_tool = tool.get();
        m_opener = opener.get();
        m_text = text.get();
        m_barcodes = barcodes.get();
        m_widgets = widgets.get();
        m_notifier = notifier.get();
        m_tool->image = QImage(120, 40, QImage::Format_RGB32);
        m_tool->image.fill(Qt::white);
        services.captureTool = std::move(tool);
        services.urlOpener = std::move(opener);
        services.textRecognition = std::move(text);
        services.barcodeDetection = std::move(barcodes);
        services.widgetCenter = std::move(widgets);
        services.clipboard = std::make_unique<Platform::QtClipboard>();
        services.notifier = std::move(notifier);
        services.desktop = Platform::Desktop::gnome;
        return services;
    }

private slots:
    void init()
    {
        storeHistory({});
        UserDefaults shared = sharedDefaults();
        shared.remove(Keys::textHistory);
        UserDefaults standard = UserDefaults::standard();
        for (const QString &key :
             {QStringLiteral("IgnoreLineBreaks"), Keys::numberOfUsages, QStringLiteral("trayIconNoticeShown")})
            standard.remove(key);
        QGuiApplication::clipboard()->setText(QStringLiteral("what the user had"));
        m_hud = std::make_unique<ProgressHUD>();
        m_delegate = std::make_unique<AppDelegate>(makeServices(), m_xdg.runtimeDir() + QLatin1Char('/'), hudOnly());
    }

    void cleanup()
    {
        m_delegate.reset();
        m_hud.reset();
    }

    void theShortcutCapturesWhileTheDelegateLives()
    {
        m_delegate.reset();
        FakeHotKeyService hotKeys;
        KeyboardShortcuts::ShortcutCenter center(hotKeys, UserDefaults::standard());
        const auto restore = qScopeGuard([&center] { center.resetToDefaults({toggleUnicornMode()}); });
        const auto shortcut =
            KeyboardShortcuts::Shortcut::fromKey(KeyboardShortcuts::Key::g, Qt::ControlModifier | Qt::AltModifier);
        center.storeShortcut(shortcut, toggleUnicornMode());
        const AppCollaborators collaborators{[&center]() -> KeyboardShortcuts::ShortcutCenter & { return center; },
                                             [this]() -> ProgressHUD & { return *m_hud; }};
        m_delegate =
            std::make_unique<AppDelegate>(makeServices(), m_xdg.runtimeDir() + QLatin1Char('/'), collaborators);
        m_delegate->applicationDidFinishLaunching();
        QCOMPARE(hotKeys.grabCount(shortcut), 1);
        // On the key's release, so that the keys do not reach the selection tool.
        QVERIFY(hotKeys.press(shortcut));
        QCOMPARE(m_tool->captures, 0);
        QVERIFY(hotKeys.release(shortcut));
        QTRY_COMPARE(m_tool->captures, 1);

        // Gone with the delegate: the grab is released and nothing is left behind to call.
        m_delegate.reset();
        QCOMPARE(hotKeys.grabCount(shortcut), 0);
        QCOMPARE(center.isHotKeyRegistered(toggleUnicornMode()), false);
    }

    void theTrayItemGetsItsIconAndMenuAtLaunch()
    {
        QVERIFY(m_delegate->statusItem()->icon().isNull());
        QVERIFY(!m_delegate->statusItem()->contextMenu());
        m_delegate->applicationDidFinishLaunching();
        QVERIFY(!m_delegate->statusItem()->icon().isNull());
        QVERIFY(!m_delegate->statusItem()->icon().pixmap(22, 22).isNull()); // the SVG renders
        QCOMPARE(m_delegate->statusItem()->contextMenu(), m_delegate->mainMenu());
    }

    void theMenuListsEveryItemInOrder()
    {
        m_delegate->applicationDidFinishLaunching();
        QCOMPARE(describe(m_delegate->mainMenu()),
                 QStringList({"Grab Text | Super+Shift+2", "Read QR Code", "-", "History", "-", "Settings...",
                              "About Scrivlet", "-", "Quit | Super+Q"}));
        QCOMPARE(m_delegate->historyMenu()->menu<QMenu *>() != nullptr, true);
    }

    void grabTextFollowsTheStoredShortcut()
    {
        m_delegate->applicationDidFinishLaunching();
        QAction *grab = m_delegate->mainMenu()->actions().first();
        const auto restore = qScopeGuard([] { KeyboardShortcuts::resetToDefaults({toggleUnicornMode()}); });
        KeyboardShortcuts::storeShortcut(
            KeyboardShortcuts::Shortcut::fromKey(KeyboardShortcuts::Key::t, Qt::MetaModifier | Qt::AltModifier),
            toggleUnicornMode());
        QCOMPARE(grab->text(), QStringLiteral("Grab Text\tSuper+Alt+T"));
        KeyboardShortcuts::storeShortcut(std::nullopt, toggleUnicornMode());
        QCOMPARE(grab->text(), QStringLiteral("Grab Text"));
    }

    void theShortcutRecorderRefusesWhatTheMenuAnswersTo()
    {
        using namespace KeyboardShortcuts;
        storeHistory({QStringLiteral("newest"), QStringLiteral("older")});
        m_delegate->applicationDidFinishLaunching();
        QCOMPARE(mainMenu(), m_delegate->mainMenu());
        const auto found = [](Shortcut shortcut, const std::optional<Name> &recorded = std::nullopt) {
            const QAction *item = menuItem(shortcut, *mainMenu(), recorded);
            return item ? menuItemTitle(*item) : QString();
        };
        QCOMPARE(found(Shortcut::fromKey(Key::q, Qt::MetaModifier)), QStringLiteral("Quit"));
        QCOMPARE(found(Shortcut::fromKey(Key::two, Qt::MetaModifier)), QStringLiteral("older"));
        QCOMPARE(found(Shortcut::fromKey(Key::three, Qt::MetaModifier)), QString());
        const Shortcut grab = Shortcut::fromKey(Key::two, Qt::MetaModifier | Qt::ShiftModifier);
        QCOMPARE(found(grab), QStringLiteral("Grab Text"));
        // Recording the capture shortcut again is no conflict with the item that shows it.
        QCOMPARE(found(grab, toggleUnicornMode()), QString());
    }

    void historyEntriesAreNumberedAndShortened()
    {
        const QString sixty(60, QLatin1Char('x'));
        const QString sixtyOne = QString(59, QLatin1Char('y')) + QStringLiteral("yz");
        // "e" + combining acute is one character for the reader, two code units.
        const QString combining = QString(58, QLatin1Char('a')) + QStringLiteral("e\u0301e\u0301e\u0301");
        storeHistory({sixty, sixtyOne, combining, "Fish & Chips", "line one\nline two", "6", "7", "8", "9", "tenth"});
        m_delegate->applicationDidFinishLaunching();
        const QStringList expected = {sixty + " | Super+1",
                                      QString(59, QLatin1Char('y')) + QStringLiteral("\u2026 | Super+2"),
                                      QString(58, QLatin1Char('a')) + QStringLiteral("e\u0301\u2026 | Super+3"),
                                      "Fish && Chips | Super+4",
                                      "line one\nline two | Super+5",
                                      "6 | Super+6",
                                      "7 | Super+7",
                                      "8 | Super+8",
                                      "9 | Super+9",
                                      "tenth | Super+0",
                                      "-",
                                      "Clear History"};
        QCOMPARE(describe(m_delegate->historyMenu()->menu<QMenu *>()), expected);
    }

    void choosingAShortenedEntryCopiesItWhole()
    {
        const QString longText = QString(100, QLatin1Char('q')) + QStringLiteral("\nend");
        storeHistory({QStringLiteral("newest"), longText});
        m_delegate->applicationDidFinishLaunching();
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        m_delegate->historyMenu()->menu<QMenu *>()->actions().at(1)->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), longText);
        QCOMPARE(textHistory(sharedDefaults()), QStringList({QStringLiteral("newest"), longText})); // unchanged
    }

    void keyEquivalentsWorkWhileTheMenuIsOpen()
    {
        storeHistory({QStringLiteral("newest"), QStringLiteral("older")});
        m_delegate->applicationDidFinishLaunching();
        auto *submenu = m_delegate->historyMenu()->menu<QMenu *>();
        submenu->popup(QPoint(10, 10));
        QVERIFY(QTest::qWaitForWindowExposed(submenu));
        QTest::keyClick(submenu, Qt::Key_2, Qt::MetaModifier);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("older"));
        QTRY_VERIFY(!submenu->isVisible());

        submenu->popup(QPoint(10, 10));
        QVERIFY(QTest::qWaitForWindowExposed(submenu));
        QTest::keyClick(submenu, Qt::Key_1); // without Super it is no key equivalent
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("older"));
        submenu->hide();
    }

    void clearHistoryStoresAnEmptyArray()
    {
        storeHistory({QStringLiteral("one"), QStringLiteral("two")});
        m_delegate->applicationDidFinishLaunching();
        const QList<QAction *> items = m_delegate->historyMenu()->menu<QMenu *>()->actions();
        QCOMPARE(menuTitle(items.last()), QStringLiteral("Clear History"));
        items.last()->trigger();
        QTRY_COMPARE(sharedDefaults().stringArray(Keys::textHistory), QStringList());
        QTRY_COMPARE(describe(m_delegate->historyMenu()->menu<QMenu *>()), QStringList{"No items"});
        const auto *submenu = m_delegate->historyMenu()->menu<QMenu *>();
        QVERIFY(!submenu->actions().first()->isEnabled());
    }

    void urlPathsDecide_data()
    {
        QTest::addColumn<QStringList>("urls");
        QTest::addColumn<int>("textCaptures");
        QTest::addColumn<int>("codeCaptures");
        QTest::newRow("three slashes grab") << QStringList{"scrivlet:///_Grab_"} << 1 << 0;
        QTest::newRow("any scheme grabs") << QStringList{"other://somewhere/_Grab_"} << 1 << 0;
        QTest::newRow("a query is not examined") << QStringList{"scrivlet:///_Grab_?from=script"} << 1 << 0;
        QTest::newRow("letter case matters") << QStringList{"scrivlet:///_grab_"} << 0 << 0;
        QTest::newRow("a deeper path is another path") << QStringList{"scrivlet:///x/_Grab_"} << 0 << 0;
        QTest::newRow("the host is not the path") << QStringList{"scrivlet://_Grab_"} << 0 << 0;
        QTest::newRow("two requests grab twice") << QStringList{"scrivlet:///_Grab_", "scrivlet:///_Grab_"} << 2 << 0;
        QTest::newRow("a code read reads a code") << QStringList{"scrivlet:///_ReadQRCode_"} << 0 << 1;
        QTest::newRow("a code read without slashes") << QStringList{"scrivlet:_ReadQRCode_"} << 0 << 1;
        QTest::newRow("code read letter case matters") << QStringList{"scrivlet:///_readqrcode_"} << 0 << 0;
        QTest::newRow("text and code one after the other")
            << QStringList{"scrivlet:///_ReadQRCode_", "scrivlet:///_Grab_"} << 1 << 1;
    }

    void urlPathsDecide()
    {
        QFETCH(QStringList, urls);
        QFETCH(int, textCaptures);
        QFETCH(int, codeCaptures);
        m_delegate->applicationDidFinishLaunching();
        QList<QUrl> list;
        for (const QString &url : urls)
            list.append(QUrl(url));
        m_delegate->openUrls(list);
        QCOMPARE(m_tool->captures, textCaptures + codeCaptures);
        QCOMPARE(m_tool->maximumDepth, textCaptures + codeCaptures > 0 ? 1 : 0);
        // Each capture goes to the engine of its request.
        QTRY_COMPARE(m_text->images.size(), textCaptures);
        QTRY_COMPARE(m_barcodes->requests, codeCaptures);
    }

    void aRequestDuringASelectionWaitsForIt()
    {
        m_delegate->applicationDidFinishLaunching();
        // As if the single-instance socket delivered a request while the user is still selecting.
        m_tool->duringCapture = [this] {
            if (m_tool->captures == 1)
                m_delegate->openUrls({QUrl(QStringLiteral("scrivlet:///_Grab_"))});
        };
        m_delegate->openUrls({QUrl(QStringLiteral("scrivlet:///_Grab_"))});
        QCOMPARE(m_tool->captures, 2);
        QCOMPARE(m_tool->maximumDepth, 1); // one after the other, never one inside the other
    }

    void clearHistoryRequestEmptiesEvenAnEmptyHistory()
    {
        m_delegate->applicationDidFinishLaunching();
        QVERIFY(!sharedDefaults().contains(Keys::textHistory));
        m_delegate->openUrls({QUrl(QStringLiteral("scrivlet:///_clear-history_"))});
        QTRY_COMPARE(sharedDefaults().stringArray(Keys::textHistory), QStringList());

        storeHistory({QStringLiteral("kept?")});
        m_delegate->buildHistoryMenu();
        m_delegate->openUrls({QUrl(QStringLiteral("scrivlet:_clear-history_"))});
        QTRY_COMPARE(sharedDefaults().stringArray(Keys::textHistory), QStringList());
        QTRY_COMPARE(describe(m_delegate->historyMenu()->menu<QMenu *>()), QStringList{"No items"});
        QCOMPARE(m_tool->captures, 0);
    }

    void theMenuStartsCaptures()
    {
        m_delegate->applicationDidFinishLaunching();
        const QList<QAction *> items = m_delegate->mainMenu()->actions();
        items.at(0)->trigger(); // Grab Text
        items.at(1)->trigger(); // Read QR Code
        QCOMPARE(m_tool->captures, 2);
    }

    void settingsAreCreatedOnce()
    {
        m_delegate->applicationDidFinishLaunching();
        QVERIFY(!m_delegate->settingsWindowController());
        m_delegate->settings();
        SettingsWindowController *first = m_delegate->settingsWindowController();
        QVERIFY(first);
        QVERIFY(first->window()->isVisible());
        first->window()->close();
        m_delegate->settings();
        QCOMPARE(m_delegate->settingsWindowController(), first);
        QVERIFY(first->window()->isVisible());
    }

    void recognisedLinesAreJoinedByThePreference_data()
    {
        QTest::addColumn<bool>("ignoreLineBreaks");
        QTest::addColumn<QString>("expected");
        QTest::newRow("line breaks kept") << false << "alpha\nbeta";
        QTest::newRow("line breaks ignored") << true << "alpha beta";
    }

    void recognisedLinesAreJoinedByThePreference()
    {
        QFETCH(bool, ignoreLineBreaks);
        QFETCH(QString, expected);
        m_delegate->applicationDidFinishLaunching();
        UserDefaults::standard().setBoolean(QStringLiteral("IgnoreLineBreaks"), ignoreLineBreaks);
        TestSupport::StdoutCapture output;
        grabText({QStringLiteral("alpha"), QStringLiteral("beta")});
        QCOMPARE(QGuiApplication::clipboard()->text(), expected);
        QTRY_COMPARE(storedHistory(), QStringList{expected});
        QCOMPARE(hudStatus(), QStringLiteral("Copied Text!"));
        QCOMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::success));
        QVERIFY(m_hud->hasScheduledHide());
        QVERIFY2(output.text().contains("[\"alpha\", \"beta\"]\n"), output.text().constData());
        QCOMPARE(m_text->images, QList<QSize>{QSize(120, 40)});
        QCOMPARE(numberOfUsages(UserDefaults::standard()), 1);
        QTRY_COMPARE(menuTitle(m_delegate->historyMenu()->menu<QMenu *>()->actions().first()), expected);
    }

    // The test runs in the C locale, so English is the desktop's language; the models are the machine's own.
    // Nothing chosen is automatic reading, which prefers the desktop's language.
    void capturesAreReadInTheChosenLanguages()
    {
        m_delegate->applicationDidFinishLaunching();
        UserDefaults standard = UserDefaults::standard();
        const auto restore = qScopeGuard([&standard] { setRecognitionLanguages(standard, {}); });
        grabText({QStringLiteral("x")});
        setRecognitionLanguages(standard, {QStringLiteral("fra"), QStringLiteral("deu")});
        TestSupport::StdoutCapture output;
        grabText({QStringLiteral("x")});
        // A chosen model removed since: read without it, said once.
        setRecognitionLanguages(standard, {QStringLiteral("xyz")});
        grabText({QStringLiteral("x")});
        grabText({QStringLiteral("x")});
        QCOMPARE(m_text->languages, (QStringList{QStringLiteral("auto:eng"), QStringLiteral("fra+deu"),
                                                 QStringLiteral("auto:eng"), QStringLiteral("auto:eng")}));
        QVERIFY2(output.text().contains("Recognition language: fra+deu\n"), output.text().constData());
        QCOMPARE(output.text().count("tesseract-ocr-xyz"), 1);
    }

    void thePreferenceIsReadBeforeTheSelection()
    {
        m_delegate->applicationDidFinishLaunching();
        m_tool->duringCapture = [] { UserDefaults::standard().setBoolean(QStringLiteral("IgnoreLineBreaks"), true); };
        grabText({QStringLiteral("one"), QStringLiteral("two")});
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("one\ntwo"));
    }

    void noTextLeavesEverythingAlone()
    {
        storeHistory({QStringLiteral("older")});
        m_delegate->applicationDidFinishLaunching();
        grabText({});
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("what the user had"));
        QCOMPARE(storedHistory(), QStringList{QStringLiteral("older")});
        QCOMPARE(hudStatus(), QStringLiteral("No Text"));
        QCOMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::text));
        QCOMPARE(numberOfUsages(UserDefaults::standard()), 0);
    }

    void whatCannotWorkIsSaidOnTheHudBeforeAnySelection()
    {
        Platform::Services services;
        auto tool = std::make_unique<FakeRegionCaptureTool>();
        FakeRegionCaptureTool *withoutEngines = tool.get();
        services.captureTool = std::move(tool);
        services.urlOpener = std::make_unique<FakeUrlOpener>();
        AppDelegate delegate(std::move(services), m_xdg.runtimeDir() + QLatin1Char('/'), hudOnly());
        delegate.getText();
        QCOMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::error));
        QVERIFY2(hudStatus().contains(QStringLiteral("tesseract-ocr-eng")), qPrintable(hudStatus()));
        delegate.readQRCode();
        QCOMPARE(withoutEngines->captures, 0);
    }

    void aCaptureThatCannotBeReadIsSaidOnTheHud()
    {
        m_delegate->applicationDidFinishLaunching();
        m_tool->image = QImage();
        m_tool->bytes = QByteArray("not an image");
        m_delegate->getText();
        QTRY_COMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::error));
        QVERIFY(m_text->images.isEmpty());
    }

    void aCancelledSelectionReachesNoEngine()
    {
        m_delegate->applicationDidFinishLaunching();
        m_tool->image = QImage();
        m_delegate->getText();
        m_delegate->readQRCode();
        QTest::qWait(100);
        QVERIFY(m_text->images.isEmpty());
        QCOMPARE(m_barcodes->requests, 0);
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("what the user had"));
    }

    void theHistoryKeepsTheTenNewestWithRepeats()
    {
        m_delegate->applicationDidFinishLaunching();
        QStringList expected;
        for (int i = 1; i <= 11; ++i) {
            m_delegate->appendToHistory(QString::number(i));
            expected.prepend(QString::number(i));
        }
        expected.removeLast(); // the oldest went with the eleventh
        QTRY_COMPARE(storedHistory(), expected);
        m_delegate->appendToHistory(QStringLiteral("11"));
        QTRY_COMPARE(storedHistory().mid(0, 2), QStringList({QStringLiteral("11"), QStringLiteral("11")}));
        QCOMPARE(storedHistory().size(), 10);
    }

    void everyRebuildOfTheHistoryTellsTheWidgets()
    {
        m_delegate->applicationDidFinishLaunching();
        QCOMPARE(m_widgets->reloads, 1);
        m_delegate->appendToHistory(QStringLiteral("x"));
        m_delegate->clearHistory();
        QTRY_COMPARE(m_widgets->reloads, 3);
    }

    void theFirstCodeIsCopiedUnchanged()
    {
        m_delegate->applicationDidFinishLaunching();
        UserDefaults::standard().setBoolean(QStringLiteral("IgnoreLineBreaks"), true);
        const QString payload = QStringLiteral("Grüße\nzweite Zeile ✓");
        m_barcodes->observations = {{payload, QStringLiteral("QRCode"), {}},
                                    {QStringLiteral("second"), QStringLiteral("QRCode"), {}}};
        TestSupport::StdoutCapture output;
        m_delegate->readQRCode();
        QTRY_COMPARE(QGuiApplication::clipboard()->text(), payload);
        QTRY_COMPARE(storedHistory(), QStringList{payload});
        QCOMPARE(hudStatus(), QStringLiteral("Copied Text from QR Code!"));
        QCOMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::success));
        QVERIFY(output.text().contains("Observations are [QRCode \"Gr"));
    }

    void aFirstCodeWithoutTextMeansNoCode_data()
    {
        QTest::addColumn<bool>("hasCode");
        QTest::newRow("no code at all") << false;
        QTest::newRow("binary first code, text second") << true;
    }

    void aFirstCodeWithoutTextMeansNoCode()
    {
        QFETCH(bool, hasCode);
        m_delegate->applicationDidFinishLaunching();
        if (hasCode)
            m_barcodes->observations = {{std::nullopt, QStringLiteral("QRCode"), {}},
                                        {QStringLiteral("text"), QStringLiteral("QRCode"), {}}};
        m_delegate->readQRCode();
        QTRY_COMPARE(m_barcodes->requests, 1);
        QTRY_COMPARE(hudStatus(), QStringLiteral("No QR Code detected"));
        QCOMPARE(m_hud->mode(), ProgressHUDMode(ProgressHUDMode::info));
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("what the user had"));
        QCOMPARE(storedHistory(), QStringList());
    }

    void copyingFromTheHistoryIsNoNewUse()
    {
        storeHistory({QStringLiteral("again")});
        m_delegate->applicationDidFinishLaunching();
        m_delegate->historyMenu()->menu<QMenu *>()->actions().first()->trigger();
        QCOMPARE(QGuiApplication::clipboard()->text(), QStringLiteral("again"));
        QCOMPARE(hudStatus(), QStringLiteral("Copied Text!"));
        QCOMPARE(numberOfUsages(UserDefaults::standard()), 0);
    }

    void withoutATrayTheNoticeIsShownOnceTheDesktopTookIt()
    {
        QVERIFY(!QSystemTrayIcon::isSystemTrayAvailable()); // offscreen: no tray host
        m_delegate->applicationDidFinishLaunching();
        m_notifier->takes = false; // no notification server yet
        m_delegate->adviseOnTrayIcon();
        QCOMPARE(m_notifier->notices.size(), 1);
        QVERIFY(!trayIconNoticeShown(UserDefaults::standard()));

        m_notifier->takes = true; // a later start, with one
        m_delegate->adviseOnTrayIcon();
        QCOMPARE(m_notifier->notices.size(), 2);
        const QString body = m_notifier->notices.last().body;
        QVERIFY2(body.contains(QStringLiteral("gnome-shell-extension-appindicator")), qPrintable(body));
        // Without an X11 display the shortcut is no global hot key: the notice must not offer it.
        QVERIFY2(!body.contains(QStringLiteral("Super+Shift+2")), qPrintable(body));
        QVERIFY(trayIconNoticeShown(UserDefaults::standard()));

        m_delegate->adviseOnTrayIcon(); // any start after that
        QCOMPARE(m_notifier->notices.size(), 2);
    }

    void aboutShowsOneBoxWithTheVersion()
    {
        m_delegate->applicationDidFinishLaunching();
        m_delegate->about();
        m_delegate->about();
        QList<QMessageBox *> boxes;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (auto *box = qobject_cast<QMessageBox *>(widget); box && box->isVisible())
                boxes.append(box);
        }
        QCOMPARE(boxes.size(), 1);
        QVERIFY(boxes.first()->text().contains(QStringLiteral(SCRIVLET_VERSION)));
        boxes.first()->close();
    }
};

QTEST_MAIN(AppDelegateTest)
#include "app_delegate_test.moc"
