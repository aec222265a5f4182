#include "keyboard_shortcuts/recorder_cocoa.h"

#include <QAction>
#include <QFocusEvent>
#include <QMessageBox>
#include <QStyle>
#include <QTimer>
#include <QWindow>

namespace KeyboardShortcuts {

RecorderCocoa::RecorderCocoa(Name name, RecorderController::OnChange onChange, QWidget *parent)
    : QLineEdit(parent), m_clearButton(new QAction(this)), m_controller(*this, std::move(name), std::move(onChange))
{
    // Read-only: the field shows shortcuts, nobody types into it, and no caret blinks while it records.
    setReadOnly(true);
    setAlignment(Qt::AlignCenter);
    setContextMenuPolicy(Qt::NoContextMenu);
    setAcceptDrops(false);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    // Refused until the window has shown it, so that a window that has just opened does not start recording.
    setFocusPolicy(Qt::NoFocus);
    m_clearButton->setIcon(style()->standardIcon(QStyle::SP_LineEditClearButton, nullptr, this));
    addAction(m_clearButton, QLineEdit::TrailingPosition);
    connect(m_clearButton, &QAction::triggered, &m_controller, &RecorderController::clear);
    connect(&m_controller, &RecorderController::changed, this, &RecorderCocoa::showState);
    showState();
}

RecorderCocoa::~RecorderCocoa()
{
    // The controller ends a recording as it goes, after this widget's own parts are gone: it must not show that.
    disconnect(&m_controller, nullptr, this, nullptr);
}

QSize RecorderCocoa::sizeHint() const
{
    return {minimumWidth, QLineEdit::sizeHint().height()};
}

bool RecorderCocoa::event(QEvent *event)
{
    if (event->type() == QEvent::Show && !m_hasJoinedWindow) {
        m_hasJoinedWindow = true;
        QTimer::singleShot(0, this, [this] { setFocusPolicy(Qt::StrongFocus); });
    }
    return QLineEdit::event(event);
}

void RecorderCocoa::focusInEvent(QFocusEvent *event)
{
    QLineEdit::focusInEvent(event);
    m_controller.focusIn(event->reason());
}

void RecorderCocoa::focusOutEvent(QFocusEvent *event)
{
    QLineEdit::focusOutEvent(event);
    m_controller.focusOut(event->reason());
}

void RecorderCocoa::showState()
{
    setText(m_controller.text());
    setPlaceholderText(m_controller.placeholderText());
    m_clearButton->setVisible(m_controller.isClearButtonVisible());
}

QWindow *RecorderCocoa::window() const
{
    return QWidget::window()->windowHandle();
}

QRectF RecorderCocoa::geometryInWindow() const
{
    return QRectF(mapTo(QWidget::window(), QPoint(0, 0)), size());
}

void RecorderCocoa::blur()
{
    QWidget *window = QWidget::window();
    if (window == this)
        clearFocus();
    else
        window->setFocus(Qt::OtherFocusReason);
}

void RecorderCocoa::focus()
{
    // The window manager would activate the window once an alert over it closes; without one nobody would.
    QWidget::window()->activateWindow();
    setFocus(Qt::OtherFocusReason);
}

void RecorderCocoa::showConflictAlert(const QString &message, const QString &informativeText,
                                      std::function<void()> dismissed)
{
    QWidget *window = QWidget::window();
    // Owned by the window, and deleted once closed.
    auto *alert =
        new QMessageBox(QMessageBox::Warning, QString(), message, QMessageBox::Ok, window == this ? nullptr : window);
    alert->setInformativeText(informativeText);
    alert->setAttribute(Qt::WA_DeleteOnClose);
    alert->setWindowModality(alert->parentWidget() ? Qt::WindowModal : Qt::ApplicationModal);
    connect(alert, &QMessageBox::finished, this, [dismissed = std::move(dismissed)] { dismissed(); });
    alert->open();
}

} // namespace KeyboardShortcuts
