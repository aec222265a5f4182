#pragma once

#include "hud/hud_layout.h"
#include "hud/progress_hud_options.h"

#include <QFont>
#include <QLatin1StringView>
#include <QMetaObject>
#include <QPointer>
#include <QSizeF>
#include <QWidget>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

class HudWindow;
class QGraphicsOpacityEffect;
class QLabel;
class QPropertyAnimation;
class ProgressIndicatorLayer;

// The translucent status panel: a rounded panel with an optional indicator (spinner, custom view or drawn glyph)
// above a status text. It is a view that covers its container, which is its own window over the first screen
// unless containerView is set. It fades in on show() and stays until it is hidden; callers schedule that with
// scheduleHideDelayed(). Main thread only. The HUD owns its label, spinner layer, spinner view and window.
// Without any screen at construction there is no own window, and show() without a containerView does nothing.
// Only the left button counts as a mouse-down.
class ProgressHUD : public QWidget {
    Q_OBJECT
public:
    // Posted on NotificationCenter::defaultCenter() with the HUD as object.
    static constexpr QLatin1StringView willAppearNotification{"ProgressHUD.willAppear"};
    static constexpr QLatin1StringView didAppearNotification{"ProgressHUD.didAppear"};
    static constexpr QLatin1StringView willDisappearNotification{"ProgressHUD.willDisappear"};
    static constexpr QLatin1StringView didDisappearNotification{"ProgressHUD.didDisappear"};
    static constexpr QLatin1StringView didReceiveMouseDownNotification{"ProgressHUD.didReceiveMouseDownEvent"};
    static constexpr std::chrono::milliseconds fadeDuration{200};

    explicit ProgressHUD(const QRect &frame = {});
    ~ProgressHUD() override;
    ProgressHUD(const ProgressHUD &) = delete;
    ProgressHUD &operator=(const ProgressHUD &) = delete;

    // The program's one HUD, created on first use; it is deleted when the application object goes away.
    static ProgressHUD &shared();

    // Shows the status text in the mode, or updates the HUD in place when it is already up; fades in.
    void show(const QString &status, ProgressHUDMode mode);
    void hide(bool animated);
    // Hides, animated unless the argument is 0. Cancels every pending scheduled hide first.
    void hideDelayed(std::optional<double> argument = std::nullopt);
    // Calls hideDelayed(argument) after the delay from the main event loop (a single-shot timer with the HUD as
    // context); any hide cancels it, whoever scheduled it.
    void scheduleHideDelayed(std::chrono::milliseconds delay, std::optional<double> argument = 1.0);
    bool hasScheduledHide() const { return m_scheduledHides > 0; }

    // Configuration; every field may change at any time and applies at the next show or repaint.
    ProgressHUDStyle style() const { return m_style; }
    void setStyle(const ProgressHUDStyle &style);
    ProgressHUDMaskType maskType() const { return m_maskType; }
    void setMaskType(const ProgressHUDMaskType &maskType);
    ProgressHUDPosition position() const { return m_position; }
    void setPosition(ProgressHUDPosition position);
    // Shown inside this view instead of the own window; the view is not owned.
    QWidget *containerView() const { return m_containerView; }
    void setContainerView(QWidget *view) { m_containerView = view; }
    QFont statusFont() const { return m_font; }
    void setStatusFont(const QFont &font);
    double opacity() const { return m_opacity; }
    void setOpacity(double opacity);
    double spinnerSize() const { return m_spinnerSize; }
    void setSpinnerSize(double size);
    double margin() const { return m_margin; }
    void setMargin(double margin);
    double padding() const { return m_padding; }
    void setPadding(double padding);
    double cornerRadius() const { return m_cornerRadius; }
    void setCornerRadius(double radius);
    bool isDismissible() const { return m_dismissible; }
    void setDismissible(bool dismissible) { m_dismissible = dismissible; }
    double progress() const { return m_progress; }
    void setProgress(double progress);
    bool useAnimation() const { return m_useAnimation; }
    void setUseAnimation(bool animated) { m_useAnimation = animated; }
    // Called each time a hide completes; kept afterwards.
    void setCompletionHandler(std::function<void()> handler) { m_completionHandler = std::move(handler); }
    double minimumDismissTimeInterval() const { return m_minimumDismissTimeInterval; }
    void setMinimumDismissTimeInterval(double seconds) { m_minimumDismissTimeInterval = seconds; }
    double maximumDismissTimeInterval() const { return m_maximumDismissTimeInterval; }
    void setMaximumDismissTimeInterval(double seconds) { m_maximumDismissTimeInterval = seconds; }

    // State.
    ProgressHUDMode mode() const { return m_mode; }
    QWidget *indicator() const { return m_indicator; }
    ProgressIndicatorLayer *progressIndicator() const { return m_progressIndicator.get(); }
    QSizeF panelSize() const { return m_size; }
    QLabel *statusLabel() const { return m_statusLabel; }
    HudWindow *hudWindow() const { return m_window.get(); }
    double alphaValue() const;

    // The layout pass: covers the container, places the indicator and the label, shapes the window. It runs when
    // what it depends on changes (status, mode, container size, the geometry settings); painting draws its result.
    HudLayout layoutContents();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    void post(QLatin1StringView name);
    void updateIndicators();
    void removeIndicator();
    void setStatus(const QString &status);
    void relayout();
    void appear(bool animated);
    void completeHide();
    void cancelScheduledHides();
    void fadeTo(double alpha, std::function<void()> completion);
    void setAlphaNow(double alpha);
    void interruptFade();
    void watchContainer(QWidget *container);

    struct ScopedConnection {
        QMetaObject::Connection connection;
        ScopedConnection() = default;
        ScopedConnection(const ScopedConnection &) = delete;
        ScopedConnection &operator=(const ScopedConnection &) = delete;
        ~ScopedConnection() { QObject::disconnect(connection); }
        void reset(QMetaObject::Connection replacement = {})
        {
            QObject::disconnect(connection);
            connection = std::move(replacement);
        }
    };

    ProgressHUDStyle m_style;
    ProgressHUDMaskType m_maskType;
    ProgressHUDPosition m_position = ProgressHUDPosition::bottom;
    QPointer<QWidget> m_containerView;
    QFont m_font;
    double m_opacity = 0.9;
    double m_spinnerSize = 60.0;
    double m_margin = 18.0;
    double m_padding = 4.0;
    double m_cornerRadius = 15.0;
    bool m_dismissible = false;
    ProgressHUDMode m_mode;
    QPointer<QWidget> m_indicator;
    bool m_ownsIndicator = false;
    std::unique_ptr<ProgressIndicatorLayer> m_progressIndicator;
    QSizeF m_size;
    HudLayout m_layout;
    bool m_useAnimation = true;
    QLabel *m_statusLabel = nullptr; // child widget
    std::function<void()> m_completionHandler;
    double m_progress = 0.0;
    double m_minimumDismissTimeInterval = 2.0;
    double m_maximumDismissTimeInterval = 5.0;
    std::unique_ptr<HudWindow> m_window;

    QGraphicsOpacityEffect *m_alpha = nullptr; // owned through setGraphicsEffect
    QPointer<QPropertyAnimation> m_fade;
    std::function<void()> m_fadeCompletion;
    quint64 m_hideGeneration = 0; // scheduled hides carry the generation they were made in
    int m_scheduledHides = 0;
    QPointer<QWidget> m_watchedContainer;
    ScopedConnection m_containerWatch;
};
