#pragma once

#include "app/app_store_review.h"
#include "app/capture_history.h"
#include "app/capture_step.h"
#include "app/preferences.h"
#include "hud/progress_hud_options.h"
#include "keyboard_shortcuts/key_event_stream.h"
#include "platform/barcode_observation.h"
#include "platform/platform.h"

#include <QImage>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QUrl>

#include <deque>
#include <functional>
#include <memory>

class ProgressHUD;
class QAction;
class QMenu;
class QMessageBox;
class QSystemTrayIcon;
class SettingsWindowController;
namespace KeyboardShortcuts {
class ShortcutCenter;
}

// The process-wide objects the delegate works with, reached when needed, so that the HUD is made only when first
// shown. Empty accessors mean the program's shared ones; tests hand in their own.
struct AppCollaborators {
    std::function<KeyboardShortcuts::ShortcutCenter &()> shortcutCenter;
    std::function<ProgressHUD &()> hud;
};

// The one controller of the program: owns the tray icon and its menu, and turns menu choices, URL requests and
// the global shortcut into captures. Lives on the main thread for the whole process.
class AppDelegate : public QObject {
    Q_OBJECT
public:
    // runtimeDirectory is the private directory captures are written to (ends with "/"); empty when there is
    // none, and then every capture ends before the tool starts. What the delegate registers with the
    // collaborators goes with it.
    AppDelegate(Platform::Services services, QString runtimeDirectory, AppCollaborators collaborators = {},
                QObject *parent = nullptr);
    ~AppDelegate() override;

    void applicationDidFinishLaunching();
    // Where no tray shows the icon, says once across starts how to get one and what works meanwhile; runs
    // trayIconNoticeDelay after launch.
    void adviseOnTrayIcon();
    // Runs the requests one after the other; requests that arrive during a capture wait for it to end.
    void openUrls(const QList<QUrl> &urls);

    // Menu actions.
    void grabAction();
    void getText();
    void readQRCode();
    void settings();
    void about();
    void terminate();
    void historyItemClicked(const QAction *item);
    void clearHistory();

    void buildHistoryMenu();
    // Puts the text at the front of the history, keeping the ten newest; the menu follows when it is saved.
    void appendToHistory(const QString &text);

    // The last steps of a capture, on the main thread, with what the engines found.
    void deliverText(const std::vector<QString> &lines, bool ignoreLineBreaks);
    void deliverBarcodes(const std::vector<Platform::BarcodeObservation> &observations);

    QSystemTrayIcon *statusItem() const { return m_statusItem.get(); }
    QMenu *mainMenu() const { return m_mainMenu.get(); }
    QAction *historyMenu() const { return m_historyMenu; }
    QString tmpDir() const { return m_tmpDir; }
    SettingsWindowController *settingsWindowController() const { return m_settingsWindowController.get(); }
    CaptureStep &captureStep() { return *m_captureStep; }

private:
    // Tells the user what went wrong and what to do about it.
    void reportFailure(const QString &message);
    void setUpStatusItem();
    void buildMainMenu();
    void openUrl(const QUrl &url);
    void announce(const QString &status, ProgressHUDMode mode);
    // The languages of the next text capture (chooseLanguages()): the user's choice of those installed, else
    // automatic, preferring the desktop's language.
    QString textLanguages();

    Platform::Services m_services;
    AppCollaborators m_collaborators;
    KeyboardShortcuts::KeyEventStream m_grabShortcut;
    std::unique_ptr<QSystemTrayIcon> m_statusItem;
    std::unique_ptr<SettingsWindowController> m_settingsWindowController;
    QString m_tmpDir;
    std::unique_ptr<QMenu> m_mainMenu;
    QAction *m_historyMenu = nullptr; // owned by m_mainMenu
    std::unique_ptr<CaptureStep> m_captureStep;
    CaptureHistory m_history{sharedDefaults()};
    AppStoreReview m_appStoreReview;
    QPointer<QMessageBox> m_aboutBox;
    std::deque<QUrl> m_pendingUrls;
    bool m_openingUrls = false;
    QStringList m_missingLanguagesSaid; // chosen languages whose models are gone, said once each
};
