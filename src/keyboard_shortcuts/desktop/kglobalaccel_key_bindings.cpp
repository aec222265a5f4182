#include "keyboard_shortcuts/desktop/kglobalaccel_key_bindings.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCall>
#include <QList>
#include <QLoggingCategory>

#include <algorithm>

Q_LOGGING_CATEGORY(lcKGlobalAccel, "scrivlet.keyboardshortcuts.kglobalaccel")

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {
namespace {

// Short, so that a service that hangs costs a second, not D-Bus's default 25 s.
constexpr int callTimeoutMs = 1000;

const QString service = u"org.kde.kglobalaccel"_s;
const QString servicePath = u"/kglobalaccel"_s;
const QString serviceInterface = u"org.kde.KGlobalAccel"_s;
const QString componentInterface = u"org.kde.kglobalaccel.Component"_s;

// One element of Component.allShortcutInfos, "(ssssssaiai)": the action's, component's and context's unique and
// friendly names, then its active keys and its default keys, each the first chord of a key sequence.
struct ShortcutInfo {
    QString actionUnique;
    QString actionFriendly;
    QString componentUnique;
    QString componentFriendly;
    QString contextUnique;
    QString contextFriendly;
    QList<int> keys;
    QList<int> defaultKeys;
};

const QDBusArgument &operator>>(const QDBusArgument &argument, ShortcutInfo &info)
{
    argument.beginStructure();
    argument >> info.actionUnique >> info.actionFriendly >> info.componentUnique >> info.componentFriendly >>
        info.contextUnique >> info.contextFriendly >> info.keys >> info.defaultKeys;
    argument.endStructure();
    return argument;
}

// A key sequence as Qt key combinations, one per chord.
using KeySequence = QList<int>;

QDBusMessage ask(const QDBusConnection &bus, const QString &path, const QString &interface, const QString &method)
{
    return bus.call(QDBusMessage::createMethodCall(service, path, interface, method), QDBus::Block, callTimeoutMs);
}

bool isAnswer(const QDBusMessage &reply, QStringView signature)
{
    return reply.type() == QDBusMessage::ReplyMessage && reply.signature() == signature;
}

bool isTimeout(const QDBusMessage &reply)
{
    const QDBusError::ErrorType error = QDBusError(reply).type();
    return error == QDBusError::NoReply || error == QDBusError::Timeout;
}

// KGlobalAccel.shortcutKeys marshals each sequence as a structure of four chords, zero where there is none:
// "a(ai)". Its interface description says "ai", one chord per sequence, which is read too.
std::optional<QList<KeySequence>> sequencesIn(const QDBusMessage &reply)
{
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1)
        return std::nullopt;
    QList<KeySequence> sequences;
    if (reply.signature() == u"a(ai)") {
        const QDBusArgument argument = reply.arguments().constFirst().value<QDBusArgument>();
        argument.beginArray();
        while (!argument.atEnd()) {
            KeySequence chords;
            argument.beginStructure();
            argument >> chords;
            argument.endStructure();
            sequences.append(chords);
        }
        argument.endArray();
        return sequences;
    }
    if (reply.signature() == u"ai") {
        for (const int chord : qdbus_cast<QList<int>>(reply.arguments().constFirst()))
            sequences.append(KeySequence{chord});
        return sequences;
    }
    return std::nullopt;
}

// A sequence of several chords takes none of them away: only the whole sequence triggers it.
std::optional<int> onlyChord(const KeySequence &sequence)
{
    if (sequence.isEmpty() || sequence.constFirst() == 0)
        return std::nullopt;
    if (std::any_of(sequence.cbegin() + 1, sequence.cend(), [](int chord) { return chord != 0; }))
        return std::nullopt;
    return sequence.constFirst();
}

class KGlobalAccelKeyBindings final : public DesktopKeyBindings {
public:
    std::vector<Shortcut> enabledBindings(const KeyNames &keyNames) const override
    {
        const QDBusConnection bus = QDBusConnection::sessionBus();
        // Calling a name nobody owns could start the service through D-Bus activation just to ask it.
        if (!bus.isConnected() || !bus.interface() || !bus.interface()->isServiceRegistered(service))
            return {};
        const QDBusMessage components = ask(bus, servicePath, serviceInterface, u"allComponents"_s);
        if (!isAnswer(components, u"ao"))
            return {};
        std::vector<Shortcut> bindings;
        for (const QDBusObjectPath &component :
             qdbus_cast<QList<QDBusObjectPath>>(components.arguments().constFirst())) {
            const QDBusMessage infos = ask(bus, component.path(), componentInterface, u"allShortcutInfos"_s);
            if (isTimeout(infos)) {
                qCWarning(lcKGlobalAccel) << "kglobalaccel stopped answering";
                break;
            }
            // A component may go away while we ask.
            if (!isAnswer(infos, u"a(ssssssaiai)"))
                continue;
            const auto infoList =
                qdbus_cast<QList<ShortcutInfo>>(infos.arguments().constFirst().value<QDBusArgument>());
            for (const KeySequence &sequence : activeSequences(bus, infoList)) {
                if (const std::optional<int> chord = onlyChord(sequence)) {
                    if (const std::optional<Shortcut> shortcut =
                            keyNames.fromQtKey(QKeyCombination::fromCombined(*chord)))
                        bindings.push_back(*shortcut);
                }
            }
        }
        return bindings;
    }

private:
    // The whole sequences of the active keys; the questions go out together, so that they cost one round trip.
    // A service without shortcutKeys leaves the first chords that allShortcutInfos gave.
    static QList<KeySequence> activeSequences(const QDBusConnection &bus, const QList<ShortcutInfo> &infos)
    {
        QList<std::pair<const ShortcutInfo *, QDBusPendingCall>> questions;
        for (const ShortcutInfo &info : infos) {
            if (std::ranges::all_of(info.keys, [](int key) { return key == 0; }))
                continue;
            QDBusMessage message =
                QDBusMessage::createMethodCall(service, servicePath, serviceInterface, u"shortcutKeys"_s);
            message << QStringList{info.componentUnique, info.actionUnique, info.componentFriendly,
                                   info.actionFriendly};
            questions.append({&info, bus.asyncCall(message, callTimeoutMs)});
        }
        QList<KeySequence> sequences;
        for (auto &[info, question] : questions) {
            question.waitForFinished();
            if (const std::optional<QList<KeySequence>> whole = sequencesIn(question.reply())) {
                sequences += *whole;
            } else {
                for (const int key : info->keys)
                    sequences.append(KeySequence{key});
            }
        }
        return sequences;
    }
};

} // namespace

std::unique_ptr<DesktopKeyBindings> makeKGlobalAccelKeyBindings()
{
    return std::make_unique<KGlobalAccelKeyBindings>();
}

} // namespace KeyboardShortcuts
