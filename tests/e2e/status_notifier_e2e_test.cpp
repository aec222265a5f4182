#include "app/tray_icon_notice.h"
#include "support/desktop_tools.h"
#include "support/notification_server_stand_in.h"
#include "support/private_session_bus.h"
#include "support/rendered_images.h"
#include "support/scrivlet_process.h"
#include "support/stand_in_capture_tool.h"
#include "support/xvfb_server.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusVariant>
#include <QDeadlineTimer>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QTest>

#include <optional>

using namespace std::chrono_literals;
using namespace Qt::Literals::StringLiterals;
using namespace TestSupport;

namespace {

const QString watcherService = u"org.kde.StatusNotifierWatcher"_s;
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;
const QString menuInterface = u"com.canonical.dbusmenu"_s;

// The panel's settings: one panel holding only its tray (the systray plugin, which hosts StatusNotifierItems and
// docks XEmbed icons); xfconfd reads them from XDG_CONFIG_HOME.
const QByteArray panelSettings = R"(<?xml version="1.0" encoding="UTF-8"?>
<channel name="xfce4-panel" version="1.0">
  <property name="configver" type="int" value="2"/>
  <property name="panels" type="array">
    <value type="int" value="1"/>
    <property name="panel-1" type="empty">
      <property name="position" type="string" value="p=6;x=0;y=0"/>
      <property name="length" type="uint" value="100"/>
      <property name="size" type="uint" value="26"/>
      <property name="plugin-ids" type="array">
        <value type="int" value="1"/>
      </property>
    </property>
  </property>
  <property name="plugins" type="empty">
    <property name="plugin-1" type="string" value="systray"/>
  </property>
</channel>
)";

QVariant property(QDBusConnection bus, const QString &service, const QString &path, const QString &interface,
                  const QString &name)
{
    QDBusMessage get = QDBusMessage::createMethodCall(service, path, u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    get << interface << name;
    const QDBusMessage reply = bus.call(get, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return reply.arguments().first().value<QDBusVariant>().variant();
}

QVariantMap allProperties(QDBusConnection bus, const QString &service, const QString &path, const QString &interface)
{
    QDBusMessage getAll =
        QDBusMessage::createMethodCall(service, path, u"org.freedesktop.DBus.Properties"_s, u"GetAll"_s);
    getAll << interface;
    const QDBusMessage reply = bus.call(getAll, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty())
        return {};
    return qdbus_cast<QVariantMap>(reply.arguments().first());
}

// xfce4-panel, the way an Xfce session runs it: a real StatusNotifierWatcher and host on the session bus.
class XfcePanel {
public:
    [[nodiscard]] static std::unique_ptr<XfcePanel> start(QDBusConnection bus)
    {
        const QString folder = qEnvironmentVariable("XDG_CONFIG_HOME") + u"/xfce4/xfconf/xfce-perchannel-xml"_s;
        QFile settings(folder + u"/xfce4-panel.xml"_s);
        if (!QDir().mkpath(folder) || !settings.open(QIODevice::WriteOnly) || settings.write(panelSettings) < 0)
            return nullptr;
        settings.close();
        std::unique_ptr<XfcePanel> panel(new XfcePanel);
        // Without a window manager the panel waits 5 s for one before it starts.
        panel->m_process.setProcessChannelMode(QProcess::ForwardedChannels);
        panel->m_process.start(u"xfce4-panel"_s, {u"--disable-wm-check"_s});
        if (!panel->m_process.waitForStarted(5000))
            return nullptr;
        QDeadlineTimer deadline(20s);
        while (!deadline.hasExpired()) {
            if (property(bus, watcherService, u"/StatusNotifierWatcher"_s, watcherService,
                         u"IsStatusNotifierHostRegistered"_s)
                    .toBool())
                return panel;
            QTest::qWait(50);
        }
        return nullptr;
    }

    ~XfcePanel()
    {
        m_process.terminate();
        if (!m_process.waitForFinished(5000))
            m_process.kill();
        m_process.waitForFinished(2000);
    }

private:
    XfcePanel() = default;
    QProcess m_process;
};

// A StatusNotifierItem on the bus: its connection's name and its object.
struct Item {
    QString service;
    QString path;
};

// The watcher lists items as "service/path", or as the bare service name for the default path.
std::optional<Item> registeredItemOf(QDBusConnection bus, qint64 processId, std::chrono::milliseconds timeout)
{
    QDeadlineTimer deadline(timeout);
    while (!deadline.hasExpired()) {
        const QStringList items = property(bus, watcherService, u"/StatusNotifierWatcher"_s, watcherService,
                                           u"RegisteredStatusNotifierItems"_s)
                                      .toStringList();
        for (const QString &entry : items) {
            const qsizetype slash = entry.indexOf(u'/');
            const Item item =
                slash < 0 ? Item{entry, u"/StatusNotifierItem"_s} : Item{entry.left(slash), entry.mid(slash)};
            if (bus.interface()->servicePid(item.service).value() == processId)
                return item;
        }
        QTest::qWait(50);
    }
    return std::nullopt;
}

// One entry of a com.canonical.dbusmenu layout, (ia{sv}av), with its children.
struct MenuEntry {
    int id = 0;
    QVariantMap properties;
    QList<MenuEntry> children;

    bool isSeparator() const { return properties.value(u"type"_s).toString() == u"separator"; }
    // What a host shows in the item's first column: the label up to the shortcut column after a tab, with the
    // mnemonic mark ("_") gone.
    QString title() const { return properties.value(u"label"_s).toString().section(u'\t', 0, 0).remove(u'_'); }
    const MenuEntry *child(const QString &title) const
    {
        for (const MenuEntry &entry : children) {
            if (entry.title() == title)
                return &entry;
        }
        return nullptr;
    }
};

MenuEntry readMenuEntry(const QDBusArgument &argument)
{
    MenuEntry entry;
    argument.beginStructure();
    argument >> entry.id >> entry.properties;
    argument.beginArray();
    while (!argument.atEnd()) {
        QDBusVariant child;
        argument >> child;
        entry.children.append(readMenuEntry(child.variant().value<QDBusArgument>()));
    }
    argument.endArray();
    argument.endStructure();
    return entry;
}

std::optional<MenuEntry> menuLayout(QDBusConnection bus, const Item &item, const QString &menuPath)
{
    QDBusMessage getLayout = QDBusMessage::createMethodCall(item.service, menuPath, menuInterface, u"GetLayout"_s);
    getLayout << 0 << -1 << QStringList();
    const QDBusMessage reply = bus.call(getLayout, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 2)
        return std::nullopt;
    return readMenuEntry(reply.arguments().at(1).value<QDBusArgument>());
}

// Whether some image of an a(iiay) icon, in ARGB32 in network byte order, has its size's bytes and a pixel that is
// not transparent.
bool hasDrawnPixmap(const QVariant &pixmaps)
{
    const QDBusArgument argument = pixmaps.value<QDBusArgument>();
    bool drawn = false;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray pixels;
        argument.beginStructure();
        argument >> width >> height >> pixels;
        argument.endStructure();
        if (width <= 0 || height <= 0 || pixels.size() != qsizetype(width) * height * 4)
            return false;
        for (qsizetype alpha = 0; alpha < pixels.size(); alpha += 4)
            drawn = drawn || pixels.at(alpha) != 0;
    }
    argument.endArray();
    return drawn;
}

} // namespace

// The built program with a real StatusNotifierItem host (xfce4-panel) on a private session bus: its icon and menu
// reach the host over D-Bus, and a click that the host forwards starts a capture.
class StatusNotifierEndToEndTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<PrivateSessionBus> m_bus;
    std::unique_ptr<StandInCaptureTool> m_tool;
    std::unique_ptr<NotificationServerStandIn> m_notifications;
    std::unique_ptr<XfcePanel> m_panel;

    // A connection of the test's own: QApplication may have met the session bus before the private one existed.
    QDBusConnection bus() const { return QDBusConnection::connectToBus(m_bus->address(), u"test"_s); }

private slots:
    void initTestCase()
    {
        QVERIFY2(QFile::exists(ScrivletProcess::program()), qPrintable(ScrivletProcess::program()));
        // xfconfd, which keeps the panel's settings, is started by the bus on the panel's first request.
        m_bus = PrivateSessionBus::start({u"org.xfce.Xfconf"_s});
        QVERIFY(m_bus);
        m_tool = StandInCaptureTool::create();
        QVERIFY(m_tool);
        m_notifications = NotificationServerStandIn::start(m_bus->address());
        QVERIFY(m_notifications);
        QElapsedTimer started;
        started.start();
        m_panel = XfcePanel::start(bus());
        QVERIFY2(m_panel, "xfce4-panel registered no StatusNotifierItem host");
        qInfo("tray host ready after %lld ms", static_cast<long long>(started.elapsed()));
    }

    void cleanupTestCase()
    {
        m_panel.reset();
        m_notifications.reset();
        QDBusConnection::disconnectFromBus(u"test"_s);
        m_bus.reset();
    }

    void theTrayMenuReachesTheHostAndItsClickStartsACapture()
    {
        const QString text = u"Hello Scrivlet 2024"_s;
        QVERIFY(m_tool->setImage(TestSupport::renderHeadline(text)));
        QElapsedTimer sinceStart;
        sinceStart.start();
        ScrivletProcess scrivlet(m_tool->environment());
        QVERIFY(scrivlet.process().waitForStarted());

        const std::optional<Item> item = registeredItemOf(bus(), scrivlet.process().processId(), 20s);
        QVERIFY2(item, "no StatusNotifierItem of the program's registered with the watcher");
        qInfo("item %s%s registered after %lld ms", qPrintable(item->service), qPrintable(item->path),
              static_cast<long long>(sinceStart.elapsed()));
        const QVariantMap properties = allProperties(bus(), item->service, item->path, itemInterface);
        // Hosts match the id to the desktop entry, and list the item by its title.
        QCOMPARE(properties.value(u"Id"_s).toString(), u"scrivlet"_s);
        QVERIFY(!properties.value(u"Title"_s).toString().isEmpty());
        QCOMPARE(properties.value(u"Status"_s).toString(), u"Active"_s);
        QVERIFY2(!properties.value(u"IconName"_s).toString().isEmpty() ||
                     hasDrawnPixmap(properties.value(u"IconPixmap"_s)),
                 "the item has neither an icon name nor a drawn pixmap");
        const QString menuPath = properties.value(u"Menu"_s).value<QDBusObjectPath>().path();
        QVERIFY(!menuPath.isEmpty());

        const std::optional<MenuEntry> menu = menuLayout(bus(), *item, menuPath);
        QVERIFY(menu);
        QStringList titles;
        for (const MenuEntry &entry : menu->children) {
            if (!entry.isSeparator() && entry.properties.value(u"visible"_s, true).toBool() &&
                entry.properties.value(u"enabled"_s, true).toBool())
                titles << entry.title();
        }
        QCOMPARE(titles, QStringList({u"Grab Text"_s, u"Read QR Code"_s, u"History"_s, u"Settings..."_s,
                                      u"About Scrivlet"_s, u"Quit"_s}));
        const MenuEntry *history = menu->child(u"History"_s);
        QCOMPARE(history->properties.value(u"children-display"_s).toString(), u"submenu"_s);
        QVERIFY(history->child(u"No items"_s));

        // As the host sends it when the user picks the item.
        QDBusMessage click = QDBusMessage::createMethodCall(item->service, menuPath, menuInterface, u"Event"_s);
        click << menu->child(u"Grab Text"_s)->id << u"clicked"_s << QVariant::fromValue(QDBusVariant(0)) << 0u;
        bus().asyncCall(click);
        QTRY_COMPARE_WITH_TIMEOUT(m_tool->runs(), 1, 10000);
        QVERIFY2(scrivlet.waitForOutput(u"[\"%1\"]"_s.arg(text), 30s), qPrintable(scrivlet.output()));
        qInfo("click to recognised text: done %lld ms after the start", static_cast<long long>(sinceStart.elapsed()));

        // With a tray there, no notice about getting one.
        QTest::qWait(
            qMax<qint64>(0, std::chrono::milliseconds(trayIconNoticeDelay + 2s).count() - sinceStart.elapsed()));
        QCOMPARE(scrivlet.process().state(), QProcess::Running);
        QCOMPARE(m_notifications->notifications.size(), 0);
    }
};

SCRIVLET_X11_TEST_MAIN(StatusNotifierEndToEndTest)
#include "status_notifier_e2e_test.moc"
