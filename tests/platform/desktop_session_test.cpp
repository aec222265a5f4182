#include "platform/desktop_session.h"

#include <QTest>

using namespace Qt::StringLiterals;
using Platform::Desktop;
using Platform::DesktopSession;
using Platform::DisplayServer;

Q_DECLARE_METATYPE(Platform::Desktop)
Q_DECLARE_METATYPE(Platform::DisplayServer)

class DesktopSessionTest : public QObject {
    Q_OBJECT

private slots:
    void describesTheSession_data()
    {
        QTest::addColumn<QStringList>("variables");
        QTest::addColumn<DisplayServer>("displayServer");
        QTest::addColumn<bool>("xwayland");
        QTest::addColumn<Desktop>("desktop");
        QTest::newRow("X11 without a desktop name")
            << QStringList{u"DISPLAY=:0"_s} << DisplayServer::x11 << false << Desktop::other;
        QTest::newRow("X11 Xfce") << QStringList{u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=XFCE"_s} << DisplayServer::x11
                                  << false << Desktop::xfce;
        QTest::newRow("Ubuntu's GNOME on Wayland with XWayland")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"DISPLAY=:0"_s, u"XDG_CURRENT_DESKTOP=ubuntu:GNOME"_s}
            << DisplayServer::wayland << true << Desktop::gnome;
        QTest::newRow("Plasma on Wayland, named in lower case")
            << QStringList{u"WAYLAND_DISPLAY=wayland-0"_s, u"XDG_CURRENT_DESKTOP=kde"_s} << DisplayServer::wayland
            << false << Desktop::kde;
        QTest::newRow("a Wayland session whose display variable is not set yet")
            << QStringList{u"XDG_SESSION_TYPE=wayland"_s, u"XDG_CURRENT_DESKTOP=GNOME"_s} << DisplayServer::wayland
            << false << Desktop::gnome;
        QTest::newRow("an empty WAYLAND_DISPLAY is no Wayland display")
            << QStringList{u"WAYLAND_DISPLAY="_s, u"DISPLAY=:1"_s} << DisplayServer::x11 << false << Desktop::other;
        QTest::newRow("sway started by hand, known by its socket")
            << QStringList{u"WAYLAND_DISPLAY=wayland-1"_s, u"SWAYSOCK=/run/user/1000/sway-ipc.sock"_s}
            << DisplayServer::wayland << false << Desktop::wlroots;
        QTest::newRow("an unknown desktop before a known one")
            << QStringList{u"WAYLAND_DISPLAY=wayland-1"_s, u"XDG_CURRENT_DESKTOP=Acme:Hyprland"_s}
            << DisplayServer::wayland << false << Desktop::wlroots;
        QTest::newRow("the compositor's socket does not count on X11")
            << QStringList{u"DISPLAY=:0"_s, u"SWAYSOCK=/tmp/sock"_s} << DisplayServer::x11 << false << Desktop::other;
    }
    void describesTheSession()
    {
        QFETCH(QStringList, variables);
        QFETCH(DisplayServer, displayServer);
        QFETCH(bool, xwayland);
        QFETCH(Desktop, desktop);
        QProcessEnvironment environment;
        for (const QString &variable : std::as_const(variables))
            environment.insert(variable.section(u'=', 0, 0), variable.section(u'=', 1));

        const DesktopSession session = Platform::describeSession(environment);
        QCOMPARE(session.displayServer, displayServer);
        QCOMPARE(session.xwayland, xwayland);
        QCOMPARE(session.desktop, desktop);
        QCOMPARE(session.currentDesktops,
                 environment.value(u"XDG_CURRENT_DESKTOP"_s).split(u':', Qt::SkipEmptyParts));
    }
};

QTEST_GUILESS_MAIN(DesktopSessionTest)
#include "desktop_session_test.moc"
