#include "hud/hud_window.h"
#include "hud/notification_center.h"
#include "hud/progress_hud.h"
#include "hud/progress_indicator_layer.h"

#include "support/desktop_tools.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QMenu>
#include <QMouseEvent>
#include <QScopeGuard>
#include <QScreen>
#include <QTest>
#include <QTimer>

#include <xcb/xcb.h>

#include <cstdlib>

// The HUD's own window on a real X server without window manager or compositor.
class HudWindowTest : public QObject {
    Q_OBJECT
private slots:
    void init();
    void cleanup();
    void unmanagedNeverFocusedAndClickableOnlyOnThePanel();
    void blendsOverTheScreenAndIsShapedToThePanel_data();
    void blendsOverTheScreenAndIsShapedToThePanel();
    void spinnerStepsWhileAPopupMenuHasTheGrab();

private:
    class Backdrop;
    std::unique_ptr<Backdrop> m_other;
};

namespace {

constexpr int deadlineMs = 5000;

std::optional<quint64> inputFocus()
{
    const auto result = TestSupport::runCommand(QStringLiteral("xdotool"), {QStringLiteral("getwindowfocus")});
    bool ok = false;
    const quint64 window = result.standardOutput.trimmed().toULongLong(&ok);
    if (result.exitCode != 0 || !ok)
        return std::nullopt;
    return window;
}

QString windowInfo(WId window)
{
    return QString::fromUtf8(
        TestSupport::runCommand(QStringLiteral("xwininfo"), {QStringLiteral("-id"), QString::number(window)})
            .standardOutput);
}

// xdotool speaks in device pixels, Qt in device-independent ones.
QStringList clickAt(QPoint logical)
{
    const qreal ratio = QGuiApplication::primaryScreen()->devicePixelRatio();
    const QPoint device = (QPointF(logical) * ratio + QPointF(ratio / 2, ratio / 2)).toPoint();
    return {QStringLiteral("mousemove"), QString::number(device.x()), QString::number(device.y()),
            QStringLiteral("click"), QStringLiteral("1")};
}

// Empty when the screen shows `expected` at `p` (±2 per channel), else what it shows.
QString mismatch(QPoint p, QColor expected)
{
    const QRgb c = QGuiApplication::primaryScreen()->grabWindow(0, p.x(), p.y(), 1, 1).toImage().pixel(0, 0);
    const bool near = std::abs(qRed(c) - expected.red()) <= 2 && std::abs(qGreen(c) - expected.green()) <= 2 &&
                      std::abs(qBlue(c) - expected.blue()) <= 2;
    return near ? QString() : QStringLiteral("(%1,%2,%3)").arg(qRed(c)).arg(qGreen(c)).arg(qBlue(c));
}

// Whether some client owns _NET_WM_CM_S0, asked on a connection of our own.
bool compositingManagerOwnsSelection()
{
    xcb_connection_t *connection = xcb_connect(nullptr, nullptr);
    const auto disconnect = qScopeGuard([connection] { xcb_disconnect(connection); });
    if (xcb_connection_has_error(connection))
        return false;
    static constexpr char name[] = "_NET_WM_CM_S0";
    auto *atom = xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof(name) - 1, name), nullptr);
    if (!atom)
        return false;
    auto *owner = xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
    const bool owned = owner && owner->owner != XCB_NONE;
    std::free(owner);
    std::free(atom);
    return owned;
}

} // namespace

// An ordinary application window that has the focus and counts the clicks it gets.
class HudWindowTest::Backdrop : public QWidget {
public:
    Backdrop()
    {
        setWindowTitle(QStringLiteral("backdrop"));
        setAutoFillBackground(true);
        setColor(Qt::blue);
    }
    void setColor(const QColor &color)
    {
        QPalette p = palette();
        p.setColor(QPalette::Window, color);
        setPalette(p);
        update();
    }
    int presses = 0;

protected:
    void mousePressEvent(QMouseEvent *event) override
    {
        ++presses;
        event->accept();
    }
};

void HudWindowTest::init()
{
    m_other = std::make_unique<Backdrop>();
    m_other->setGeometry(QGuiApplication::primaryScreen()->geometry());
    m_other->show();
    QVERIFY(QTest::qWaitForWindowExposed(m_other.get()));
    m_other->activateWindow();
    QTRY_COMPARE_WITH_TIMEOUT(QGuiApplication::focusWindow(), m_other->windowHandle(), deadlineMs);
    QTRY_COMPARE_WITH_TIMEOUT(inputFocus(), std::optional<quint64>(m_other->winId()), deadlineMs);
}

void HudWindowTest::cleanup()
{
    m_other.reset();
}

void HudWindowTest::unmanagedNeverFocusedAndClickableOnlyOnThePanel()
{
    ProgressHUD hud;
    int mouseDowns = 0;
    connect(&NotificationCenter::defaultCenter(), &NotificationCenter::posted, this,
            [&](const QString &name, QObject *object) {
                mouseDowns += object == &hud && name == QString(ProgressHUD::didReceiveMouseDownNotification);
            });
    hud.show(QStringLiteral("Copied Text!"), ProgressHUDMode::success);
    HudWindow *window = hud.hudWindow();
    QVERIFY(QTest::qWaitForWindowExposed(window));
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    QVERIFY(!window->isComposited()); // Xvfb alone has no compositing manager
    const QString info = windowInfo(window->winId());
    QVERIFY2(info.contains(QStringLiteral("Override Redirect State: yes")), qPrintable(info));
    // The Xvfb screen is 1280 × 800 device pixels, whatever the scale factor.
    QVERIFY2(info.contains(QStringLiteral("Absolute upper-left X:  0")) &&
                 info.contains(QStringLiteral("Width: 1280")) && info.contains(QStringLiteral("Height: 800")),
             qPrintable(info));
    // The panel: centred horizontally, a fifth of the screen's height below its centre.
    const QRect screen = QGuiApplication::screens().first()->geometry();
    const QRect panel = window->mask().boundingRect();
    QVERIFY2(std::abs(panel.center().x() - screen.width() / 2) <= 1 &&
                 std::abs(panel.center().y() - (screen.height() / 2 + screen.height() / 5)) <= 1,
             qPrintable(QStringLiteral("%1, %2").arg(panel.center().x()).arg(panel.center().y())));

    // Neither showing nor a click on the panel takes the focus from the window that has it.
    QTest::qWait(200); // give a focus change the time to arrive
    QCOMPARE(inputFocus(), std::optional<quint64>(m_other->winId()));
    QCOMPARE(QGuiApplication::focusWindow(), m_other->windowHandle());
    QVERIFY(TestSupport::xdotool(clickAt(panel.center())));
    QTRY_COMPARE_WITH_TIMEOUT(mouseDowns, 1, deadlineMs);
    QTest::qWait(200);
    QCOMPARE(inputFocus(), std::optional<quint64>(m_other->winId()));
    QCOMPARE(QGuiApplication::focusWindow(), m_other->windowHandle());
    QCOMPARE(m_other->presses, 0); // the panel keeps its clicks

    // Beside the panel, and in its bounding box where the rounded corner cuts it off, clicks pass through.
    for (const QPoint p : {QPoint(panel.left() - 3, panel.center().y()), QPoint(200, 200), panel.topLeft()}) {
        const int before = m_other->presses;
        QVERIFY(TestSupport::xdotool(clickAt(p)));
        QTRY_COMPARE_WITH_TIMEOUT(m_other->presses, before + 1, deadlineMs);
    }
    hud.hide(false);
    QTRY_VERIFY_WITH_TIMEOUT(windowInfo(window->winId()).contains(QStringLiteral("IsUnMapped")), deadlineMs);
}

void HudWindowTest::blendsOverTheScreenAndIsShapedToThePanel_data()
{
    QTest::addColumn<bool>("composited");
    QTest::newRow("without compositor: blended with a picture of the screen") << false;
    QTest::newRow("under picom: translucent and live") << true;
}

void HudWindowTest::blendsOverTheScreenAndIsShapedToThePanel()
{
    QFETCH(bool, composited);
    QProcess compositor;
    const auto stop = qScopeGuard([&compositor] {
        compositor.terminate();
        if (!compositor.waitForFinished(3000))
            compositor.kill();
        compositor.waitForFinished(3000);
    });
    if (composited) {
        compositor.start(QStringLiteral("picom"), {QStringLiteral("--backend"), QStringLiteral("xrender"),
                                                   QStringLiteral("--config"), QStringLiteral("/dev/null")});
        if (!compositor.waitForStarted(5000))
            QSKIP("picom is not installed");
        QTRY_VERIFY_WITH_TIMEOUT(compositingManagerOwnsSelection(), deadlineMs);
    }
    ProgressHUD hud;
    hud.show(QStringLiteral("No Text"), ProgressHUDMode::text);
    QVERIFY(QTest::qWaitForWindowExposed(hud.hudWindow()));
    QCOMPARE(hud.hudWindow()->isComposited(), composited);
    QTRY_COMPARE_WITH_TIMEOUT(hud.alphaValue(), 1.0, deadlineMs);
    const QRect panel = hud.hudWindow()->mask().boundingRect();
    const QPoint inside(panel.left() + 4, panel.center().y());
    // White at 0.9 over blue.
    QTRY_COMPARE_WITH_TIMEOUT(mismatch(inside, QColor(230, 230, 255)), QString(), deadlineMs);
    QCOMPARE(mismatch(panel.topLeft(), Qt::blue), QString());
    QCOMPARE(mismatch(QPoint(50, 50), Qt::blue), QString());

    // Outside the panel the screen shows live through the shape, not a stale picture and never black.
    m_other->setColor(Qt::green);
    QTRY_COMPARE_WITH_TIMEOUT(mismatch(QPoint(50, 50), Qt::green), QString(), deadlineMs);
    QCOMPARE(mismatch(panel.topLeft(), Qt::green), QString());
    QCOMPARE(mismatch(QPoint(panel.left() - 2, panel.center().y()), Qt::green), QString());
    if (composited) // the compositor blends live: a change below shows through the panel at once
        QTRY_COMPARE_WITH_TIMEOUT(mismatch(inside, QColor(230, 255, 230)), QString(), deadlineMs);
    hud.hide(false);
}

void HudWindowTest::spinnerStepsWhileAPopupMenuHasTheGrab()
{
    ProgressHUD hud;
    hud.show(QString(), ProgressHUDMode::indeterminate);
    ProgressIndicatorLayer *layer = hud.progressIndicator();
    QVERIFY(layer && layer->isRunning());
    QMenu menu;
    menu.addAction(QStringLiteral("Grab Text"));
    int stepsWhileOpen = 0;
    connect(layer, &FinSpinner::needsDisplay, &menu, [&] {
        if (menu.isVisible() && ++stepsWhileOpen >= 5)
            menu.close();
    });
    QTimer::singleShot(deadlineMs, &menu, &QMenu::close);
    menu.exec(QPoint(100, 100));
    QVERIFY2(stepsWhileOpen >= 5, qPrintable(QString::number(stepsWhileOpen)));
    hud.hide(false);
}

SCRIVLET_X11_TEST_MAIN(HudWindowTest)
#include "hud_window_test.moc"
