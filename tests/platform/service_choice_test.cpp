#include "platform/service_choice.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Platform::CaptureToolKind;
using Platform::ClipboardKind;

Q_DECLARE_METATYPE(Platform::ClipboardKind)
Q_DECLARE_METATYPE(QList<Platform::CaptureToolKind>)

namespace {

Platform::DesktopSession sessionOf(const QStringList &variables)
{
    QProcessEnvironment environment;
    for (const QString &variable : variables)
        environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));
    return Platform::describeSession(environment);
}

constexpr auto selection = CaptureToolKind::selectionProgram;
constexpr auto portal = CaptureToolKind::screenshotPortal;

} // namespace

// Each row is a session as its environment announces it, and what must serve it.
class ServiceChoiceTest : public QObject {
    Q_OBJECT

private slots:
    void choosesForTheSession_data()
    {
        QTest::addColumn<QStringList>("variables");
        QTest::addColumn<ClipboardKind>("clipboard");
        QTest::addColumn<QList<CaptureToolKind>>("captureTools");
        QTest::addColumn<QString>("packages");
        QTest::addColumn<QByteArray>("qtPlatform");

        const QList<CaptureToolKind> selectionOnly{selection};
        QTest::newRow("X11 keeps Qt's clipboard, the selection programs and Qt's own plugin")
            << QStringList{u"DISPLAY=:0"_s} << ClipboardKind::qt << selectionOnly << u"maim slop"_s << QByteArray();
        QTest::newRow("GNOME on X11 is X11 too")
            << QStringList{u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=GNOME"_s, u"XDG_SESSION_TYPE=x11"_s}
            << ClipboardKind::qt << selectionOnly << u"maim slop"_s << QByteArray();
        QTest::newRow("sway: wl-copy, grim and slurp only, through XWayland")
            << QStringList{u"WAYLAND_DISPLAY=wayland-1"_s, u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=sway"_s}
            << ClipboardKind::wlCopy << selectionOnly << u"grim slurp"_s << "xcb;wayland"_ba;
        QTest::newRow("sway started by hand without XWayland runs on Qt's Wayland plugin")
            << QStringList{u"WAYLAND_DISPLAY=wayland-1"_s, u"SWAYSOCK=/run/sway.sock"_s} << ClipboardKind::wlCopy
            << selectionOnly << u"grim slurp"_s << "wayland"_ba;
        QTest::newRow("KDE on Wayland: data-control clipboard, the portal's screenshot")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"DISPLAY=:1"_s, u"XDG_CURRENT_DESKTOP=KDE"_s}
            << ClipboardKind::wlCopy << QList{portal} << u"xdg-desktop-portal-kde"_s << "xcb;wayland"_ba;
        QTest::newRow("GNOME on Wayland: Qt's clipboard through XWayland, the portal's screenshot")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=ubuntu:GNOME"_s}
            << ClipboardKind::qt << QList{portal} << u"xdg-desktop-portal-gnome"_s << "xcb;wayland"_ba;
        QTest::newRow("GNOME on Wayland without XWayland cannot use Qt's clipboard")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"XDG_CURRENT_DESKTOP=GNOME"_s} << ClipboardKind::wlCopy
            << QList{portal} << u"xdg-desktop-portal-gnome"_s << "wayland"_ba;
        QTest::newRow("an unknown compositor: grim and slurp if there, else the portal")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=Acme"_s}
            << ClipboardKind::wlCopy << QList{selection, portal} << u"grim slurp"_s << "xcb;wayland"_ba;
    }
    void choosesForTheSession()
    {
        QFETCH(QStringList, variables);
        QFETCH(ClipboardKind, clipboard);
        QFETCH(QList<CaptureToolKind>, captureTools);
        QFETCH(QString, packages);
        QFETCH(QByteArray, qtPlatform);

        const Platform::DesktopSession session = sessionOf(variables);
        QCOMPARE(Platform::clipboardFor(session), clipboard);
        QCOMPARE(Platform::captureToolsFor(session), captureTools);
        QCOMPARE(Platform::captureToolPackages(session), packages);
        QCOMPARE(Platform::qtPlatformFor(session), qtPlatform);
    }
};

QTEST_GUILESS_MAIN(ServiceChoiceTest)
#include "service_choice_test.moc"
