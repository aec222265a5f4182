#include "app/app_delegate.h"

#include "app/announce.h"
#include "app/diagnostics.h"
#include "app/key_equivalent.h"
#include "app/key_equivalent_menu.h"
#include "app/preferences.h"
#include "app/settings_window_controller.h"
#include "app/shortcut_names.h"
#include "app/tray_icon_notice.h"
#include "app/url_request.h"
#include "hud/progress_hud.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/menu_binding.h"
#include "keyboard_shortcuts/shortcut_center.h"
#include "keyboard_shortcuts/shortcut_text.h"
#include "platform/recognition_languages.h"
#include "platform/tesseract_text_recognizer.h"

#include <QAction>
#include <QApplication>
#include <QIcon>
#include <QMenu>
#include <QMessageBox>
#include <QSystemTrayIcon>
#include <QTextBoundaryFinder>
#include <QTimer>

namespace {

constexpr qsizetype historyTitleLength = 60;
const QString ignoreLineBreaksKey = QStringLiteral("IgnoreLineBreaks");

// The entry itself when it has at most 60 user-perceived characters, else its first 59 and "…".
QString historyTitle(const QString &entry)
{
    QTextBoundaryFinder graphemes(QTextBoundaryFinder::Grapheme, entry);
    qsizetype count = 0;
    qsizetype cutAt = -1;
    while (graphemes.toNextBoundary() != -1) {
        ++count;
        if (count == historyTitleLength - 1)
            cutAt = graphemes.position();
        if (count > historyTitleLength)
            return entry.left(cutAt) + QChar(0x2026);
    }
    return entry;
}

// QMenu reads "&" as the mark of a mnemonic.
QString escapeMnemonics(QString title)
{
    return title.replace(QLatin1Char('&'), QStringLiteral("&&"));
}

// Without a clipboard service (only ever in tests) the text goes nowhere.
void copyToClipboard(Platform::Clipboard *clipboard, const QString &text)
{
    if (clipboard)
        clipboard->setText(text);
}

} // namespace

AppDelegate::AppDelegate(Platform::Services services, QString runtimeDirectory, AppCollaborators collaborators,
                         QObject *parent)
    : QObject(parent), m_services(std::move(services)), m_collaborators(std::move(collaborators)),
      m_statusItem(std::make_unique<QSystemTrayIcon>()), m_tmpDir(std::move(runtimeDirectory)),
      m_mainMenu(std::make_unique<KeyEquivalentMenu>()),
      m_appStoreReview(m_services.storeReview.get(), SCRIVLET_IS_STORE_VERSION)
{
    m_historyMenu = new QAction(QStringLiteral("History"), m_mainMenu.get());
    m_captureStep = std::make_unique<CaptureStep>(m_services.captureTool.get(), *m_services.urlOpener,
                                                  m_services.clipboard.get(), m_services.captureToolPackages, m_tmpDir);
    connect(m_captureStep.get(), &CaptureStep::failed, this, &AppDelegate::reportFailure);
    connect(&m_history, &CaptureHistory::changed, this, &AppDelegate::buildHistoryMenu);
    if (!m_collaborators.shortcutCenter)
        m_collaborators.shortcutCenter = &KeyboardShortcuts::center;
    if (!m_collaborators.hud)
        m_collaborators.hud = &ProgressHUD::shared;
}

void AppDelegate::announce(const QString &status, ProgressHUDMode mode)
{
    ::announce(m_collaborators.hud(), status, std::move(mode));
}

void AppDelegate::reportFailure(const QString &message)
{
    printLine(message);
    announce(message, ProgressHUDMode::error);
}

AppDelegate::~AppDelegate() = default;

void AppDelegate::applicationDidFinishLaunching()
{
    setUpStatusItem();
    // Said once: the store refuses every write to such a file, so that a passing fault does not cost the settings.
    for (const UserDefaults &defaults : {UserDefaults::standard(), sharedDefaults()}) {
        if (defaults.fileState() == UserDefaults::FileState::unreadable)
            reportFailure(QStringLiteral("%1 cannot be read: Scrivlet runs on its defaults and changes nothing there "
                                         "until you fix the file's permissions")
                              .arg(defaults.filePath()));
    }
    QTimer::singleShot(trayIconNoticeDelay, this, &AppDelegate::adviseOnTrayIcon);
}

void AppDelegate::adviseOnTrayIcon()
{
    if (!m_services.notifier)
        return;
    std::optional<QString> shortcut;
    KeyboardShortcuts::ShortcutCenter &center = m_collaborators.shortcutCenter();
    if (center.isHotKeyRegistered(toggleUnicornMode())) {
        if (const auto stored = center.storedShortcut(toggleUnicornMode()))
            shortcut = KeyboardShortcuts::displayText(*stored);
    }
    const std::optional<Platform::Notice> notice =
        trayIconNotice({QSystemTrayIcon::isSystemTrayAvailable(), m_services.desktop,
                        trayIconNoticeShown(UserDefaults::standard()), shortcut});
    if (!notice)
        return;
    // Told only once the desktop showed it: without a notification server the next start tries again.
    m_services.notifier->notify(*notice, [](bool taken) {
        if (taken) {
            UserDefaults defaults = UserDefaults::standard();
            setTrayIconNoticeShown(defaults);
        }
    });
}

void AppDelegate::setUpStatusItem()
{
    // The capture starts when the keys are released, so that they do not reach the selection tool.
    m_grabShortcut = m_collaborators.shortcutCenter().keySignals(KeyboardShortcuts::EventType::keyUp,
                                                                 toggleUnicornMode(), [this] { getText(); });
    m_statusItem->setIcon(QIcon(QStringLiteral(":/icons/ScrivletIcon1.svg")));
    m_statusItem->setToolTip(QStringLiteral("Scrivlet"));
    buildMainMenu();
    // Shown even without a tray yet: the icon is embedded as soon as a panel starts after us.
    m_statusItem->show();
}

void AppDelegate::buildMainMenu()
{
    QMenu *menu = m_mainMenu.get();
    QAction *grab = menu->addAction(QStringLiteral("Grab Text"), this, &AppDelegate::grabAction);
    // Shows the global shortcut, whatever the user recorded; the shortcut module answers it, not the menu.
    KeyboardShortcuts::bindShortcut(grab, toggleUnicornMode());
    menu->addAction(QStringLiteral("Read QR Code"), this, &AppDelegate::readQRCode);
    menu->addSeparator();
    menu->addAction(m_historyMenu);
    buildHistoryMenu();
    menu->addSeparator();
    menu->addAction(QStringLiteral("Settings..."), this, &AppDelegate::settings);
    menu->addAction(QStringLiteral("About Scrivlet"), this, &AppDelegate::about);
    menu->addSeparator();
    QAction *quit = menu->addAction(QStringLiteral("Quit"), this, &AppDelegate::terminate);
    setKeyEquivalent(quit, QStringLiteral("q"), Qt::MetaModifier);
    // Says why the shortcut is missing from "Grab Text" while another program holds it.
    menu->setToolTipsVisible(true);
    m_statusItem->setContextMenu(menu);
    // The shortcut recorder refuses what this menu's items already answer to.
    KeyboardShortcuts::setMainMenu(menu);
}

void AppDelegate::buildHistoryMenu()
{
    auto submenu = new KeyEquivalentMenu(m_mainMenu.get());
    const QStringList history = m_history.entries();
    if (history.isEmpty()) {
        submenu->addAction(QStringLiteral("No items"))->setEnabled(false);
    } else {
        int number = 1;
        for (const QString &entry : history) {
            QAction *item = submenu->addAction(escapeMnemonics(historyTitle(entry)));
            item->setData(entry);
            setKeyEquivalent(item, QString::number(number), Qt::MetaModifier);
            connect(item, &QAction::triggered, this, [this, item] { historyItemClicked(item); });
            number = (number + 1) % 10;
        }
        submenu->addSeparator();
        submenu->addAction(QStringLiteral("Clear History"), this, &AppDelegate::clearHistory);
    }
    QMenu *previous = m_historyMenu->menu();
    m_historyMenu->setMenu(submenu);
    if (previous)
        previous->deleteLater(); // it may be on screen right now
    if (m_services.widgetCenter)
        m_services.widgetCenter->reloadAllTimelines();
}

void AppDelegate::appendToHistory(const QString &text)
{
    m_history.append(text);
}

void AppDelegate::historyItemClicked(const QAction *item)
{
    copyToClipboard(m_services.clipboard.get(), item->data().toString());
    announce(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
}

void AppDelegate::clearHistory()
{
    m_history.clear();
}

void AppDelegate::grabAction()
{
    getText();
}

void AppDelegate::getText()
{
    // Read once, before the selection: changing the setting meanwhile does not change this capture.
    // Said before the selection: the user should not drag a region that cannot be read.
    if (!m_services.textRecognition) {
        reportFailure(QStringLiteral("Text recognition needs the package tesseract-ocr-eng: install it"));
        return;
    }
    const bool ignoreLineBreaks = UserDefaults::standard().boolean(ignoreLineBreaksKey);
    const QString languages = textLanguages();
    m_captureStep->run([this, ignoreLineBreaks, languages](const QImage &image) {
        m_services.textRecognition->recognize(image, languages)
            .then(this, [this, ignoreLineBreaks](const std::vector<QString> &lines) {
                deliverText(lines, ignoreLineBreaks);
            });
    });
}

QString AppDelegate::textLanguages()
{
    const QStringList choice = recognitionLanguages(UserDefaults::standard());
    const QStringList installed =
        Platform::installedLanguages(QString::fromLatin1(Platform::TesseractTextRecognizer::debianModelFolder));
    const QString desktop = Platform::desktopLanguage();
    for (const QString &language : choice) {
        if (!installed.contains(language) && !m_missingLanguagesSaid.contains(language)) {
            m_missingLanguagesSaid << language;
            printLine(QStringLiteral("Recognition language %1 is not installed (package %2): reading without it")
                          .arg(language, Platform::debianPackage(language)));
        }
    }
    const QString languages = Platform::chooseLanguages(choice, installed, desktop);
    // The helper says which language an automatic reading found, where it is not the desktop's.
    if (!languages.startsWith(QStringLiteral("auto")) && languages.section(u'+', 0, 0) != desktop)
        printLine(QStringLiteral("Recognition language: ") + languages);
    return languages;
}

void AppDelegate::deliverText(const std::vector<QString> &lines, bool ignoreLineBreaks)
{
    printLine(describeStrings(lines));
    if (lines.empty()) {
        announce(QStringLiteral("No Text"), ProgressHUDMode::text);
        return;
    }
    QStringList joined(lines.begin(), lines.end());
    const QString text = joined.join(ignoreLineBreaks ? QStringLiteral(" ") : QStringLiteral("\n"));
    copyToClipboard(m_services.clipboard.get(), text);
    appendToHistory(text);
    announce(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    m_appStoreReview.requestReviewIfAppropriate();
}

void AppDelegate::readQRCode()
{
    if (!m_services.barcodeDetection) {
        printLine(QStringLiteral("Error in performing Image request: no barcode detector"));
        announce(QStringLiteral("Barcode reading is not available: reinstall Scrivlet"), ProgressHUDMode::error);
        return;
    }
    m_captureStep->run([this](const QImage &image) {
        m_services.barcodeDetection->detect(image).then(
            this,
            [this](const std::vector<Platform::BarcodeObservation> &observations) { deliverBarcodes(observations); });
    });
}

void AppDelegate::deliverBarcodes(const std::vector<Platform::BarcodeObservation> &observations)
{
    printLine(QStringLiteral("Observations are ") + Platform::describe(observations));
    // Only the first code counts, even when it holds no text and a later one does.
    if (!observations.empty() && observations.front().payload) {
        const QString payload = *observations.front().payload;
        copyToClipboard(m_services.clipboard.get(), payload);
        announce(QStringLiteral("Copied Text from QR Code!"), ProgressHUDMode::success);
        appendToHistory(payload);
        m_appStoreReview.requestReviewIfAppropriate();
        return;
    }
    announce(QStringLiteral("No QR Code detected"), ProgressHUDMode::info);
}

void AppDelegate::settings()
{
    if (!m_settingsWindowController)
        m_settingsWindowController = std::make_unique<SettingsWindowController>(m_services.displayServer);
    m_settingsWindowController->showWindow();
}

void AppDelegate::about()
{
    if (!m_aboutBox) {
        m_aboutBox = new QMessageBox(QMessageBox::NoIcon, QStringLiteral("About Scrivlet"),
                                     QStringLiteral("<h3>Scrivlet %1</h3>").arg(QStringLiteral(SCRIVLET_VERSION)),
                                     QMessageBox::Ok);
        m_aboutBox->setIconPixmap(QIcon(QStringLiteral(":/icons/ScrivletIcon1.svg")).pixmap(64, 64));
        m_aboutBox->setInformativeText(
            QStringLiteral("Copies the text shown in any part of the screen, and the contents of QR codes and "
                           "barcodes.<br><br>Text recognition by Tesseract, barcodes by ZXing-cpp, built with "
                           "Qt %1.")
                .arg(QString::fromLatin1(qVersion())));
        m_aboutBox->setAttribute(Qt::WA_DeleteOnClose);
        m_aboutBox->setModal(false);
    }
    m_aboutBox->show();
    m_aboutBox->raise();
    m_aboutBox->activateWindow();
}

void AppDelegate::terminate()
{
    QCoreApplication::quit();
}

void AppDelegate::openUrls(const QList<QUrl> &urls)
{
    m_pendingUrls.insert(m_pendingUrls.end(), urls.begin(), urls.end());
    // A capture waits for the user inside openUrl(); requests that arrive meanwhile are taken up here after it.
    if (m_openingUrls)
        return;
    m_openingUrls = true;
    while (!m_pendingUrls.empty()) {
        const QUrl url = m_pendingUrls.front();
        m_pendingUrls.pop_front();
        openUrl(url);
    }
    m_openingUrls = false;
}

void AppDelegate::openUrl(const QUrl &url)
{
    const std::optional<UrlRequest> request = urlRequest(url);
    if (request == UrlRequest::grab)
        getText();
    else if (request == UrlRequest::readQRCode)
        readQRCode();
    else if (request == UrlRequest::clearHistory)
        clearHistory();
}
