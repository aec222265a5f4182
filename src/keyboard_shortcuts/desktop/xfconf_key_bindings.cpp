#include "keyboard_shortcuts/desktop/xfconf_key_bindings.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QVariantMap>

using namespace Qt::Literals::StringLiterals;

namespace KeyboardShortcuts {
namespace {

constexpr int callTimeoutMs = 2000;

// The active shortcuts: the "default" trees hold what a reset restores. Each property is named after its
// accelerator and holds the command or action as a string; "empty" marks one the user removed.
constexpr QLatin1StringView activeTrees[] = {"/commands/custom/"_L1, "/xfwm4/custom/"_L1};

class XfconfKeyBindings final : public DesktopKeyBindings {
public:
    std::vector<Shortcut> enabledBindings(const KeyNames &keyNames) const override
    {
        QDBusMessage call = QDBusMessage::createMethodCall(u"org.xfce.Xfconf"_s, u"/org/xfce/Xfconf"_s,
                                                           u"org.xfce.Xfconf"_s, u"GetAllProperties"_s);
        call << u"xfce4-keyboard-shortcuts"_s << u"/"_s;
        const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, callTimeoutMs);
        if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().size() != 1 ||
            reply.signature() != u"a{sv}")
            return {};
        const QVariantMap properties = qdbus_cast<QVariantMap>(reply.arguments().constFirst());
        std::vector<Shortcut> bindings;
        for (auto property = properties.cbegin(); property != properties.cend(); ++property) {
            const QString value =
                property->metaType() == QMetaType::fromType<QString>() ? property->toString() : QString();
            if (value.isEmpty() || value == u"empty")
                continue; // also the tree's "override" switch, a boolean
            for (const QLatin1StringView tree : activeTrees) {
                if (!property.key().startsWith(tree))
                    continue;
                if (const std::optional<Shortcut> shortcut =
                        keyNames.fromAccelerator(QStringView(property.key()).sliced(tree.size())))
                    bindings.push_back(*shortcut);
            }
        }
        return bindings;
    }
};

} // namespace

std::unique_ptr<DesktopKeyBindings> makeXfconfKeyBindings()
{
    return std::make_unique<XfconfKeyBindings>();
}

} // namespace KeyboardShortcuts
