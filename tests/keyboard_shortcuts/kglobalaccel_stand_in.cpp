// Answers as KDE's org.kde.kglobalaccel service does, with the shortcuts of a JSON file:
//   {"kwin": [{"action": "Expose", "keys": [[chord, ...], ...], "defaultKeys": [[chord, ...], ...]}, ...], ...}
// where a chord is a Qt key combination. With --without-shortcut-keys it lacks KGlobalAccel.shortcutKeys, as
// older services do. A process of its own, so that the test's blocking calls cannot wait on themselves.

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVirtualObject>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <array>
#include <cstdio>

using namespace Qt::Literals::StringLiterals;

namespace {

// Component.allShortcutInfos' element, "(ssssssaiai)": each key is the first chord of its sequence.
struct ShortcutInfo {
    std::array<QString, 6> names; // action, component and context, each unique then friendly
    QList<int> keys;
    QList<int> defaultKeys;
};

// KGlobalAccel.shortcutKeys' element, "(ai)": always four chords, zero where there is none.
struct KeySequence {
    QList<int> chords;
};

QDBusArgument &operator<<(QDBusArgument &argument, const ShortcutInfo &info)
{
    argument.beginStructure();
    for (const QString &name : info.names)
        argument << name;
    argument << info.keys << info.defaultKeys;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, ShortcutInfo &info)
{
    argument.beginStructure();
    for (QString &name : info.names)
        argument >> name;
    argument >> info.keys >> info.defaultKeys;
    argument.endStructure();
    return argument;
}

QDBusArgument &operator<<(QDBusArgument &argument, const KeySequence &sequence)
{
    argument.beginStructure();
    argument << sequence.chords;
    argument.endStructure();
    return argument;
}

const QDBusArgument &operator>>(const QDBusArgument &argument, KeySequence &sequence)
{
    argument.beginStructure();
    argument >> sequence.chords;
    argument.endStructure();
    return argument;
}

} // namespace

Q_DECLARE_METATYPE(ShortcutInfo)
Q_DECLARE_METATYPE(KeySequence)

namespace {

QList<QList<int>> sequencesOf(const QJsonValue &value)
{
    QList<QList<int>> sequences;
    for (const QJsonValue &sequence : value.toArray()) {
        QList<int> chords;
        for (const QJsonValue &chord : sequence.toArray())
            chords.append(chord.toInt());
        sequences.append(chords);
    }
    return sequences;
}

QList<int> firstChords(const QList<QList<int>> &sequences)
{
    QList<int> chords;
    for (const QList<int> &sequence : sequences)
        chords.append(sequence.value(0));
    return chords;
}

class KGlobalAccelStandIn final : public QDBusVirtualObject {
public:
    KGlobalAccelStandIn(QJsonObject components, bool hasShortcutKeys)
        : m_components(std::move(components)), m_hasShortcutKeys(hasShortcutKeys)
    {}

    QString introspect(const QString &path) const override
    {
        if (path == u"/kglobalaccel")
            return uR"xml(<interface name="org.kde.KGlobalAccel">
  <method name="allComponents"><arg type="ao" direction="out"/></method>
  <method name="shortcutKeys"><arg type="a(ai)" direction="out"/><arg name="actionId" type="as" direction="in"/></method>
</interface>)xml"_s;
        if (path.startsWith(u"/component/"))
            return uR"xml(<interface name="org.kde.kglobalaccel.Component">
  <method name="allShortcutInfos"><arg type="a(ssssssaiai)" direction="out"/></method>
</interface>)xml"_s;
        return {};
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const QString call = message.interface() + u'.' + message.member();
        if (message.path() == u"/kglobalaccel" && call == u"org.kde.KGlobalAccel.allComponents") {
            QList<QDBusObjectPath> paths;
            for (const QString &name : m_components.keys())
                paths.append(QDBusObjectPath(u"/component/"_s + name));
            return connection.send(message.createReply(QVariant::fromValue(paths)));
        }
        if (message.path() == u"/kglobalaccel" && call == u"org.kde.KGlobalAccel.shortcutKeys" && m_hasShortcutKeys)
            return connection.send(message.createReply(QVariant::fromValue(shortcutKeys(message))));
        if (message.path().startsWith(u"/component/") && call == u"org.kde.kglobalaccel.Component.allShortcutInfos")
            return connection.send(message.createReply(QVariant::fromValue(infos(message.path().sliced(11)))));
        return connection.send(
            message.createErrorReply(u"org.freedesktop.DBus.Error.UnknownMethod"_s, u"no such method"_s));
    }

private:
    QList<ShortcutInfo> infos(const QString &component) const
    {
        QList<ShortcutInfo> infos;
        for (const QJsonValue &action : m_components.value(component).toArray()) {
            const QString name = action[u"action"].toString();
            infos.append({{name, name, component, component, u"default"_s, u"Default Context"_s},
                          firstChords(sequencesOf(action[u"keys"])),
                          firstChords(sequencesOf(action[u"defaultKeys"]))});
        }
        return infos;
    }

    // Asked by [component, action, component's friendly name, action's friendly name].
    QList<KeySequence> shortcutKeys(const QDBusMessage &message) const
    {
        const QStringList actionId = message.arguments().value(0).toStringList();
        QList<KeySequence> sequences;
        for (const QJsonValue &action : m_components.value(actionId.value(0)).toArray()) {
            if (action[u"action"].toString() != actionId.value(1))
                continue;
            for (QList<int> chords : sequencesOf(action[u"keys"])) {
                chords.resize(4);
                sequences.append({chords});
            }
        }
        return sequences;
    }

    QJsonObject m_components;
    bool m_hasShortcutKeys;
};

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const QStringList arguments = app.arguments();
    QFile file(arguments.value(1));
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "usage: kglobalaccel_stand_in SHORTCUTS.json [--without-shortcut-keys]\n");
        return 2;
    }
    qDBusRegisterMetaType<ShortcutInfo>();
    qDBusRegisterMetaType<QList<ShortcutInfo>>();
    qDBusRegisterMetaType<KeySequence>();
    qDBusRegisterMetaType<QList<KeySequence>>();
    KGlobalAccelStandIn standIn(QJsonDocument::fromJson(file.readAll()).object(),
                                !arguments.contains(u"--without-shortcut-keys"_s));
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.registerVirtualObject(u"/"_s, &standIn, QDBusConnection::SubPath) ||
        !bus.registerService(u"org.kde.kglobalaccel"_s)) {
        std::fprintf(stderr, "kglobalaccel_stand_in: the session bus refused us\n");
        return 1;
    }
    return app.exec();
}
