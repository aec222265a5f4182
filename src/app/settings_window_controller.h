#pragma once

#include "platform/desktop_session.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <memory>

class QCheckBox;
class QComboBox;
class QWidget;

namespace Ui {
class SettingsWindowController;
}
namespace KeyboardShortcuts {
class RecorderCocoa;
}
namespace LaunchAtLogin {
class KVO;
}

// Runs the settings window: the recognition language, launch at login, the line-joining preference and the
// recorder of the capture shortcut.
// Created by the application on first use and kept until the process ends; the window is built when first shown.
// Every change is stored at once.
class SettingsWindowController : public QObject {
    Q_OBJECT
public:
    explicit SettingsWindowController(Platform::DisplayServer displayServer, QObject *parent = nullptr);
    ~SettingsWindowController() override;

    // Shows the one window, on top and with the focus.
    void showWindow();
    QWidget *window() const { return m_window.get(); }
    KeyboardShortcuts::RecorderCocoa *recorder() const;
    QCheckBox *ignoreLineBreaksCheckBoxButton() const;
    LaunchAtLogin::KVO &launchAtLogin() const { return *m_launchAtLogin; }
    QComboBox *languageComboBox() const;

private:
    void windowDidLoad();
    void ignoreLineBreaksValueChanged();
    void showStoredValues();
    void showShortcutHint();
    void fillLanguages();
    void languageChosen(int index);
    void showLanguage();

    Platform::DisplayServer m_displayServer;
    LaunchAtLogin::KVO *m_launchAtLogin; // the module's shared object
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<Ui::SettingsWindowController> m_ui;
    QPointer<QCheckBox> m_ignoreLineBreaksCheckBoxButton;
    QPointer<KeyboardShortcuts::RecorderCocoa> m_recorder;
};

// The line under the recorder: why the capture shortcut does not start captures from everywhere, with the
// details for its tooltip; empty when it does, or when no shortcut is stored. Outside X11 it names the command to
// bind in the desktop's own keyboard settings, where there is one.
struct ShortcutHint {
    QString text;
    QString details;
    friend bool operator==(const ShortcutHint &, const ShortcutHint &) = default;
};
ShortcutHint shortcutHint(bool hasShortcut, bool isRegistered, Platform::DisplayServer displayServer,
                          const QString &grabCommandLine);
