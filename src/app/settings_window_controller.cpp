#include "app/settings_window_controller.h"

#include "user_defaults/user_defaults.h"

#include <QCheckBox>
#include <QVBoxLayout>
#include <QWidget>

namespace {
const QString ignoreLineBreaksKey = QStringLiteral("IgnoreLineBreaks");
}

SettingsWindowController::SettingsWindowController(QObject *parent) : QObject(parent) {}

SettingsWindowController::~SettingsWindowController() = default;

void SettingsWindowController::showWindow()
{
    if (!m_window)
        windowDidLoad();
    m_window->show();
    m_window->raise();
    m_window->activateWindow();
}

void SettingsWindowController::windowDidLoad()
{
    m_window = std::make_unique<QWidget>();
    m_window->setWindowTitle(QStringLiteral("Scrivlet Settings"));
    auto *layout = new QVBoxLayout(m_window.get());
    m_ignoreLineBreaksCheckBox = new QCheckBox(QStringLiteral("Ignore line breaks"), m_window.get());
    m_ignoreLineBreaksCheckBox->setToolTip(
        QStringLiteral("Join the recognised lines with spaces instead of line breaks"));
    layout->addWidget(m_ignoreLineBreaksCheckBox);
    m_ignoreLineBreaksCheckBox->setChecked(UserDefaults::standard().boolean(ignoreLineBreaksKey));
    connect(m_ignoreLineBreaksCheckBox, &QCheckBox::clicked, this,
            &SettingsWindowController::ignoreLineBreaksValueChanged);
}

void SettingsWindowController::ignoreLineBreaksValueChanged()
{
    UserDefaults::standard().setBoolean(ignoreLineBreaksKey, m_ignoreLineBreaksCheckBox->checkState() == Qt::Checked);
}
