#include "hud/progress_hud.h"

#include "hud/hud_drawing.h"
#include "hud/hud_window.h"
#include "hud/layer_host_view.h"
#include "hud/notification_center.h"
#include "hud/progress_indicator_layer.h"

#include <QCoreApplication>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QGraphicsOpacityEffect>
#include <QGuiApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QPropertyAnimation>
#include <QScreen>
#include <QTimer>

#include <utility>

namespace {

constexpr int statusFontPixelSize = 18;
constexpr double blackMaskAlpha = 0.6;

std::unique_ptr<ProgressHUD> &sharedStorage()
{
    static std::unique_ptr<ProgressHUD> hud;
    return hud;
}

} // namespace

ProgressHUD &ProgressHUD::shared()
{
    // Widgets must go before the application object: a post routine runs at the start of its destructor.
    static const bool created = [] {
        sharedStorage() = std::make_unique<ProgressHUD>();
        qAddPostRoutine([] { sharedStorage().reset(); });
        return true;
    }();
    Q_UNUSED(created);
    return *sharedStorage();
}

ProgressHUD::ProgressHUD(const QRect &frame) : QWidget(nullptr)
{
    m_font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    m_font.setPixelSize(statusFontPixelSize);
    m_statusLabel = new QLabel(this);
    m_statusLabel->setGeometry(QRect());

    setGeometry(frame);
    m_alpha = new QGraphicsOpacityEffect(this);
    m_alpha->setOpacity(0.0);
    setGraphicsEffect(m_alpha);
    setAttribute(Qt::WA_TranslucentBackground);
    QWidget::setVisible(false);

    m_statusLabel->setFont(m_font);
    m_statusLabel->setTextFormat(Qt::PlainText);
    m_statusLabel->setTextInteractionFlags(Qt::NoTextInteraction);
    m_statusLabel->setAlignment(Qt::AlignCenter);
    m_statusLabel->setAutoFillBackground(false);
    m_statusLabel->setAttribute(Qt::WA_TranslucentBackground);

    const QList<QScreen *> screens = QGuiApplication::screens();
    if (!screens.isEmpty())
        m_window = std::make_unique<HudWindow>(screens.first());
}

ProgressHUD::~ProgressHUD()
{
    interruptFade();
    m_fadeCompletion = nullptr;
    if (m_indicator && !m_ownsIndicator) {
        // A custom view belongs to the caller: give it back instead of deleting it with our children.
        m_indicator->hide();
        m_indicator->setParent(nullptr);
    }
    m_containerWatch.reset();
    if (m_watchedContainer)
        m_watchedContainer->removeEventFilter(this);
    setParent(nullptr); // leave the own window before it is destroyed with the members
}

void ProgressHUD::post(QLatin1StringView name)
{
    NotificationCenter::defaultCenter().post(QString(name), this);
}

void ProgressHUD::show(const QString &status, ProgressHUDMode mode)
{
    QWidget *container = m_containerView;
    if (container) {
        if (m_window)
            m_window->closeWindow();
    } else {
        if (!m_window)
            return; // no screen to show on
        container = m_window.get();
    }

    m_mode = std::move(mode);
    if (isHidden()) {
        setParent(container);
        setGeometry(container->rect());
        m_progressIndicator = std::make_unique<ProgressIndicatorLayer>(m_style.foregroundColor(), m_spinnerSize);
        watchContainer(container);
    }
    updateIndicators();
    setStatus(status);
    // Before the window is mapped, so that it never covers the screen unshaped.
    layoutContents();
    if (!m_containerView)
        m_window->showWindow();
    appear(true);
}

void ProgressHUD::watchContainer(QWidget *container)
{
    if (m_watchedContainer)
        m_watchedContainer->removeEventFilter(this);
    m_watchedContainer = container;
    container->installEventFilter(this);
    m_containerWatch.reset();
    if (container != m_window.get()) {
        // A container going away would delete us with its children: hide at once and leave it first.
        m_containerWatch.reset(connect(container, &QObject::destroyed, this, [this] {
            if (!isHidden())
                hide(false);
            setParent(nullptr);
        }));
    }
}

bool ProgressHUD::eventFilter(QObject *watched, QEvent *event)
{
    if (watched == parentWidget() && event->type() == QEvent::Resize)
        relayout();
    return QWidget::eventFilter(watched, event);
}

void ProgressHUD::updateIndicators()
{
    switch (m_mode.kind) {
    case ProgressHUDMode::determinate:
    case ProgressHUDMode::info:
    case ProgressHUDMode::success:
    case ProgressHUDMode::error:
    case ProgressHUDMode::text:
        removeIndicator();
        break;
    case ProgressHUDMode::indeterminate: {
        removeIndicator();
        const int side = qRound(m_spinnerSize);
        auto *view = new LayerHostView(QRect(0, 0, side, side), this);
        if (m_progressIndicator) {
            m_progressIndicator->startAnimation();
            view->setLayer(m_progressIndicator.get());
        }
        m_indicator = view;
        m_ownsIndicator = true;
        view->show();
        break;
    }
    case ProgressHUDMode::custom:
        if (QWidget *view = m_mode.view) {
            removeIndicator();
            m_indicator = view;
            m_ownsIndicator = false;
            view->setParent(this);
            view->show();
        }
        break;
    }
}

void ProgressHUD::removeIndicator()
{
    QWidget *indicator = std::exchange(m_indicator, nullptr);
    if (!indicator)
        return;
    if (m_ownsIndicator) {
        delete indicator;
    } else {
        indicator->hide();
        indicator->setParent(nullptr);
    }
    m_ownsIndicator = false;
}

void ProgressHUD::setStatus(const QString &status)
{
    QPalette palette = m_statusLabel->palette();
    palette.setColor(QPalette::WindowText, m_style.foregroundColor());
    m_statusLabel->setPalette(palette);
    m_statusLabel->setFont(m_font);
    m_statusLabel->setText(status);
    m_statusLabel->adjustSize();
}

void ProgressHUD::appear(bool animated)
{
    post(willAppearNotification);
    m_useAnimation = animated;
    update();
    QWidget::setVisible(true);
    if (animated) {
        fadeTo(1.0, [this] { post(didAppearNotification); });
    } else {
        setAlphaNow(1.0);
        post(didAppearNotification);
    }
}

void ProgressHUD::hide(bool animated)
{
    post(willDisappearNotification);
    m_useAnimation = animated;
    cancelScheduledHides();
    if (animated) {
        fadeTo(0.0, [this] { completeHide(); });
    } else {
        setAlphaNow(0.0);
        completeHide();
    }
}

void ProgressHUD::completeHide()
{
    if (m_progressIndicator)
        m_progressIndicator->stopAnimation();
    m_alpha->setOpacity(0.0);
    QWidget::setVisible(false);
    if (m_watchedContainer)
        m_watchedContainer->removeEventFilter(this);
    m_watchedContainer = nullptr;
    m_containerWatch.reset();
    setParent(nullptr);
    if (m_completionHandler)
        m_completionHandler();
    removeIndicator();
    m_statusLabel->setText(QString());
    if (m_window)
        m_window->closeWindow();
    post(didDisappearNotification);
}

void ProgressHUD::hideDelayed(std::optional<double> argument)
{
    cancelScheduledHides();
    const bool animated = !(argument && *argument == 0.0);
    hide(animated);
}

void ProgressHUD::scheduleHideDelayed(std::chrono::milliseconds delay, std::optional<double> argument)
{
    ++m_scheduledHides;
    QTimer::singleShot(delay, this, [this, generation = m_hideGeneration, argument] {
        if (generation != m_hideGeneration)
            return; // cancelled by a hide since
        --m_scheduledHides;
        hideDelayed(argument);
    });
}

void ProgressHUD::cancelScheduledHides()
{
    ++m_hideGeneration;
    m_scheduledHides = 0;
}

void ProgressHUD::fadeTo(double alpha, std::function<void()> completion)
{
    interruptFade();
    auto *animation = new QPropertyAnimation(m_alpha, "opacity", this);
    animation->setDuration(static_cast<int>(fadeDuration.count()));
    animation->setEndValue(alpha);
    m_fade = animation;
    m_fadeCompletion = std::move(completion);
    connect(animation, &QAbstractAnimation::finished, this, [this] {
        m_fade = nullptr;
        if (auto done = std::exchange(m_fadeCompletion, nullptr))
            done();
    });
    animation->start(QAbstractAnimation::DeleteWhenStopped);
}

void ProgressHUD::interruptFade()
{
    QPropertyAnimation *fade = std::exchange(m_fade, nullptr);
    if (!fade)
        return;
    disconnect(fade, nullptr, this, nullptr);
    fade->stop();
    // A fade that gives way to another still completes, on the next turn of the event loop.
    if (auto done = std::exchange(m_fadeCompletion, nullptr))
        QMetaObject::invokeMethod(this, std::move(done), Qt::QueuedConnection);
}

void ProgressHUD::setAlphaNow(double alpha)
{
    interruptFade();
    m_alpha->setOpacity(alpha);
}

double ProgressHUD::alphaValue() const
{
    return m_alpha->opacity();
}

HudLayout ProgressHUD::layoutContents()
{
    if (QWidget *parent = parentWidget())
        setGeometry(parent->rect());
    else
        setGeometry(QRect());
    const qreal height = this->height();

    HudLayoutInput input;
    input.bounds = QSizeF(size());
    input.mode = m_mode.kind;
    if (m_indicator)
        input.indicatorSize = QSizeF(m_indicator->size());
    const QString text = m_statusLabel->text();
    if (!text.isEmpty())
        input.textSize = QFontMetricsF(m_statusLabel->font()).size(0, text);
    input.position = m_position;
    input.spinnerSize = m_spinnerSize;
    input.margin = m_margin;
    input.padding = m_padding;

    const HudLayout layout = layoutHud(input);
    if (m_indicator && layout.indicatorFrame)
        m_indicator->setGeometry(toTopLeftOrigin(*layout.indicatorFrame, height).toRect());
    m_statusLabel->setGeometry(toTopLeftOrigin(layout.labelFrame, height).toRect());
    m_size = layout.panel.size();

    if (m_window && parentWidget() == m_window.get()) {
        // Clicks outside the panel reach the windows below, unless a mask claims the whole screen.
        std::optional<QRectF> panel;
        if (m_maskType.kind == ProgressHUDMaskType::none)
            panel = toTopLeftOrigin(layout.panel, height);
        m_window->setPanelShape(panel, m_cornerRadius);
    }
    m_layout = layout;
    return layout;
}

void ProgressHUD::relayout()
{
    layoutContents();
    update();
}

void ProgressHUD::paintEvent(QPaintEvent *event)
{
    const HudLayout &layout = m_layout;
    QPainter painter(this);
    if (!painter.isActive())
        return;
    painter.setRenderHint(QPainter::Antialiasing);

    switch (m_maskType.kind) {
    case ProgressHUDMaskType::black: {
        QColor dim(Qt::black);
        dim.setAlphaF(static_cast<float>(blackMaskAlpha));
        painter.fillRect(event->rect(), dim);
        break;
    }
    case ProgressHUDMaskType::custom:
        painter.fillRect(event->rect(), m_maskType.customColor);
        break;
    case ProgressHUDMaskType::none:
    case ProgressHUDMaskType::clear:
        break;
    }

    QColor panelColor = m_style.backgroundColor();
    panelColor.setAlphaF(static_cast<float>(m_opacity));
    flipToYUp(painter, height());
    painter.fillPath(roundedPanelPath(layout.panel, m_cornerRadius), panelColor);

    const QColor foreground = m_style.foregroundColor();
    switch (m_mode.kind) {
    case ProgressHUDMode::determinate:
        drawDeterminateRing(painter, layout.glyphFrame.center(), m_spinnerSize, m_progress, foreground);
        break;
    case ProgressHUDMode::info:
        drawInfoGlyph(painter, layout.glyphFrame, foreground);
        break;
    case ProgressHUDMode::success:
        drawSuccessGlyph(painter, layout.glyphFrame, foreground);
        break;
    case ProgressHUDMode::error:
        drawErrorGlyph(painter, layout.glyphFrame, foreground);
        break;
    case ProgressHUDMode::indeterminate:
    case ProgressHUDMode::text:
    case ProgressHUDMode::custom:
        break;
    }
}

void ProgressHUD::mousePressEvent(QMouseEvent *event)
{
    if (event->button() != Qt::LeftButton) {
        event->ignore();
        return;
    }
    post(didReceiveMouseDownNotification);
    // Without a mask the click goes on to the container; a mask keeps it.
    if (m_maskType.kind == ProgressHUDMaskType::none)
        event->ignore();
    else
        event->accept();
    if (m_dismissible)
        QMetaObject::invokeMethod(
            this, [this] { hide(m_useAnimation); }, Qt::QueuedConnection);
}

void ProgressHUD::setStyle(const ProgressHUDStyle &style)
{
    m_style = style;
    update();
}

void ProgressHUD::setMaskType(const ProgressHUDMaskType &maskType)
{
    m_maskType = maskType;
    relayout();
}

void ProgressHUD::setPosition(ProgressHUDPosition position)
{
    m_position = position;
    relayout();
}

void ProgressHUD::setStatusFont(const QFont &font)
{
    m_font = font;
    relayout();
}

void ProgressHUD::setOpacity(double opacity)
{
    m_opacity = opacity;
    update();
}

void ProgressHUD::setSpinnerSize(double size)
{
    m_spinnerSize = size;
    relayout();
}

void ProgressHUD::setMargin(double margin)
{
    m_margin = margin;
    relayout();
}

void ProgressHUD::setPadding(double padding)
{
    m_padding = padding;
    relayout();
}

void ProgressHUD::setCornerRadius(double radius)
{
    m_cornerRadius = radius;
    relayout();
}

void ProgressHUD::setProgress(double progress)
{
    m_progress = progress;
    update();
}
