#include "app/settings_window_controller.h"

#include "app/grab_command.h"
#include "app/preferences.h"
#include "app/settings_window_layout.h"
#include "app/shortcut_names.h"
#include "keyboard_shortcuts/keyboard_shortcuts.h"
#include "keyboard_shortcuts/recorder_cocoa.h"
#include "launch_at_login/kvo.h"
#include "platform/recognition_languages.h"
#include "platform/tesseract_text_recognizer.h"
#include "ui_settings_window_controller.h"
#include "user_defaults/user_defaults.h"

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QWidget>

namespace {

const QString ignoreLineBreaksKey = QStringLiteral("IgnoreLineBreaks");

// Offered even when not installed, so that the window can say which package brings them.
const QStringList commonLanguages{QStringLiteral("deu"), QStringLiteral("fra"), QStringLiteral("spa"),
                                  QStringLiteral("ita"), QStringLiteral("por"), QStringLiteral("nld"),
                                  QStringLiteral("pol"), QStringLiteral("rus"), QStringLiteral("ukr"),
                                  QStringLiteral("tur"), QStringLiteral("jpn"), QStringLiteral("chi_sim")};

QStringList installedModels()
{
    return Platform::installedLanguages(QString::fromLatin1(Platform::TesseractTextRecognizer::debianModelFolder));
}

// Notes under a control: a little smaller and in the placeholder's colour, as desktops draw them.
void showAsNote(QWidget *label)
{
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
    label->setPalette(palette);
}

} // namespace

ShortcutHint shortcutHint(bool hasShortcut, bool isRegistered, Platform::DisplayServer displayServer,
                          const QString &grabCommandLine)
{
    if (!hasShortcut || isRegistered)
        return {};
    if (displayServer != Platform::DisplayServer::x11 && !grabCommandLine.isEmpty())
        return {QStringLiteral("Bind: ") + grabCommandLine,
                QStringLiteral("This desktop lets no program grab keys itself. In its keyboard settings, bind the "
                               "command “%1” to the combination.")
                    .arg(grabCommandLine)};
    if (displayServer != Platform::DisplayServer::x11)
        return {QStringLiteral("Works in X11 sessions only."),
                QStringLiteral("Global shortcuts need an X11 session, or a desktop that runs a command for a "
                               "combination.")};
    return {QStringLiteral("In use by another program."),
            QStringLiteral("Another program holds this combination, so it does not start a capture. "
                           "Record another one.")};
}

SettingsWindowController::SettingsWindowController(Platform::DisplayServer displayServer, QObject *parent)
    : QObject(parent), m_displayServer(displayServer), m_launchAtLogin(&LaunchAtLogin::kvo())
{}

SettingsWindowController::~SettingsWindowController() = default;

KeyboardShortcuts::RecorderCocoa *SettingsWindowController::recorder() const
{
    return m_recorder;
}

QComboBox *SettingsWindowController::languageComboBox() const
{
    return m_ui ? m_ui->languageComboBox : nullptr;
}

QCheckBox *SettingsWindowController::ignoreLineBreaksCheckBoxButton() const
{
    return m_ignoreLineBreaksCheckBoxButton;
}

void SettingsWindowController::showWindow()
{
    if (!m_window)
        windowDidLoad();
    else
        showStoredValues(); // another program may have changed them since the window was last open
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void SettingsWindowController::windowDidLoad()
{
    m_window = std::make_unique<QWidget>();
    m_ui = std::make_unique<Ui::SettingsWindowController>();
    m_ui->setupUi(m_window.get());
    m_window->setFixedSize(SettingsWindowLayout::contentSize);

    m_recorder = new KeyboardShortcuts::RecorderCocoa(toggleUnicornMode(), {}, m_window.get());
    m_recorder->setGeometry(SettingsWindowLayout::recorderFrame());
    m_recorder->setAccessibleName(m_ui->shortcutLabel->text());
    m_ui->shortcutLabel->setBuddy(m_recorder);
    QWidget::setTabOrder(m_ui->ignoreLineBreaksCheckBox, m_recorder);
    QWidget::setTabOrder(m_recorder, m_ui->closeButton);
    showAsNote(m_ui->shortcutHintLabel);
    m_ui->shortcutHintLabel->setTextInteractionFlags(Qt::TextSelectableByMouse); // the command, to copy
    showAsNote(m_ui->ignoreLineBreaksNoteLabel);
    showAsNote(m_ui->languageNoteLabel);
    m_ui->languageNoteLabel->setTextInteractionFlags(Qt::TextSelectableByMouse); // the package, to copy
    connect(m_ui->languageComboBox, &QComboBox::activated, this, &SettingsWindowController::languageChosen);
    const auto followShortcut = [this](const KeyboardShortcuts::Name &name) {
        if (name == toggleUnicornMode())
            showShortcutHint();
    };
    // A new shortcut, or the same one taken by another program and given back.
    connect(&KeyboardShortcuts::notifications(), &KeyboardShortcuts::ShortcutNotifications::shortcutByNameDidChange,
            this, followShortcut);
    connect(&KeyboardShortcuts::notifications(), &KeyboardShortcuts::ShortcutNotifications::hotKeyRegistrationDidChange,
            this, followShortcut);

    m_ignoreLineBreaksCheckBoxButton = m_ui->ignoreLineBreaksCheckBox;
    connect(m_ignoreLineBreaksCheckBoxButton, &QCheckBox::clicked, this,
            &SettingsWindowController::ignoreLineBreaksValueChanged);

    // Bound both ways: a click writes through the module, and every change the module announces shows here.
    connect(m_ui->launchAtLoginCheckBox, &QCheckBox::clicked, m_launchAtLogin, &LaunchAtLogin::KVO::setIsEnabled);
    connect(m_launchAtLogin, &LaunchAtLogin::KVO::isEnabledChanged, m_ui->launchAtLoginCheckBox,
            &QCheckBox::setChecked);

    connect(m_ui->closeButton, &QPushButton::clicked, m_window.get(), &QWidget::close);
    showStoredValues();
}

void SettingsWindowController::showStoredValues()
{
    m_ignoreLineBreaksCheckBoxButton->setChecked(UserDefaults::standard().boolean(ignoreLineBreaksKey));
    m_ui->launchAtLoginCheckBox->setChecked(m_launchAtLogin->isEnabled());
    showShortcutHint();
    fillLanguages(); // models may have been installed or removed since
    showLanguage();
}

void SettingsWindowController::fillLanguages()
{
    QComboBox *box = m_ui->languageComboBox;
    box->clear();
    box->addItem(QStringLiteral("Automatic"), QString());
    const QStringList installed = installedModels();
    const auto byName = [](QStringList languages) {
        std::sort(languages.begin(), languages.end(), [](const QString &a, const QString &b) {
            return Platform::languageName(a).localeAwareCompare(Platform::languageName(b)) < 0;
        });
        return languages;
    };
    for (const QString &language : byName(installed))
        box->addItem(Platform::languageName(language), language);
    QStringList missing = commonLanguages;
    for (const QString &language : recognitionLanguages(UserDefaults::standard())) {
        if (!missing.contains(language))
            missing << language;
    }
    missing.removeIf([&installed](const QString &language) { return installed.contains(language); });
    if (!missing.isEmpty())
        box->insertSeparator(box->count());
    for (const QString &language : byName(missing))
        box->addItem(QStringLiteral("%1 (not installed)").arg(Platform::languageName(language)), language);
}

void SettingsWindowController::languageChosen(int index)
{
    const QString language = m_ui->languageComboBox->itemData(index).toString();
    UserDefaults defaults = UserDefaults::standard();
    setRecognitionLanguages(defaults, language.isEmpty() ? QStringList() : QStringList{language});
    showLanguage();
}

void SettingsWindowController::showLanguage()
{
    const QStringList chosen = recognitionLanguages(UserDefaults::standard());
    QComboBox *box = m_ui->languageComboBox;
    box->setCurrentIndex(std::max(0, box->findData(chosen.value(0))));
    const QStringList installed = installedModels();
    QStringList missing = chosen;
    missing.removeIf([&installed](const QString &language) { return installed.contains(language); });
    QString note;
    if (!missing.isEmpty()) {
        QStringList packages;
        for (const QString &language : missing)
            packages << Platform::debianPackage(language);
        note = QStringLiteral("Install %1 to read it.").arg(packages.join(QStringLiteral(" ")));
    } else if (chosen.size() > 1) {
        QStringList names;
        for (const QString &language : chosen.mid(1))
            names << Platform::languageName(language);
        note = QStringLiteral("Then: ") + names.join(QStringLiteral(", "));
    }
    QLabel *label = m_ui->languageNoteLabel;
    label->setText(label->fontMetrics().elidedText(note, Qt::ElideRight, label->width()));
    label->setToolTip(note);
}

void SettingsWindowController::ignoreLineBreaksValueChanged()
{
    UserDefaults::standard().setBoolean(ignoreLineBreaksKey,
                                        m_ignoreLineBreaksCheckBoxButton->checkState() == Qt::Checked);
}

void SettingsWindowController::showShortcutHint()
{
    const std::optional<KeyboardShortcuts::DesktopCommand> command =
        KeyboardShortcuts::desktopCommand(toggleUnicornMode());
    const ShortcutHint hint = shortcutHint(KeyboardShortcuts::storedShortcut(toggleUnicornMode()).has_value(),
                                           KeyboardShortcuts::isHotKeyRegistered(toggleUnicornMode()), m_displayServer,
                                           command ? shownCommandLine(*command) : QString());
    // One line: a long program path gives way in the middle; the tooltip has the whole command.
    QLabel *label = m_ui->shortcutHintLabel;
    label->setText(label->fontMetrics().elidedText(hint.text, Qt::ElideMiddle, label->width()));
    label->setToolTip(hint.details);
}
