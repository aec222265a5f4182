#include "keyboard_shortcuts/shortcut.h"

#include "keyboard_shortcuts/scan_codes.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QKeyEvent>

#include <limits>

namespace KeyboardShortcuts {
namespace {

// Qt keeps whole JSON numbers as 64-bit integers; anything fractional, out of range or of another type is not an
// integer.
std::optional<std::int64_t> integerMember(const QJsonObject &object, CodingKey key)
{
    constexpr qint64 notAnInteger = std::numeric_limits<qint64>::min();
    const QJsonValue value = object.value(stringValue(key));
    if (!value.isDouble())
        return std::nullopt;
    const qint64 integer = value.toInteger(notAnInteger);
    if (integer == notAnInteger && value.toDouble() != static_cast<double>(notAnInteger))
        return std::nullopt;
    return integer;
}

} // namespace

QString stringValue(CodingKey key)
{
    switch (key) {
    case CodingKey::carbonKeyCode:
        return QStringLiteral("carbonKeyCode");
    case CodingKey::carbonModifiers:
        return QStringLiteral("carbonModifiers");
    }
    return {};
}

std::optional<CodingKey> codingKey(QStringView stringValue)
{
    for (const CodingKey key : {CodingKey::carbonKeyCode, CodingKey::carbonModifiers}) {
        if (stringValue == KeyboardShortcuts::stringValue(key))
            return key;
    }
    return std::nullopt;
}

std::optional<Shortcut> Shortcut::fromKeyEvent(const QKeyEvent &event)
{
    if (event.type() != QEvent::KeyPress && event.type() != QEvent::KeyRelease)
        return std::nullopt;
    const std::optional<Key> key = keyForScanCode(event.nativeScanCode());
    if (!key)
        return std::nullopt;
    return fromKey(*key, event.modifiers());
}

QByteArray Shortcut::toJson() const
{
    return "{\"carbonKeyCode\":" + QByteArray::number(carbonKeyCode) +
           ",\"carbonModifiers\":" + QByteArray::number(carbonModifiers) + '}';
}

std::optional<Shortcut> Shortcut::fromJson(QByteArrayView json)
{
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(json.toByteArray(), &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    const QJsonObject object = document.object();
    const std::optional<std::int64_t> keyCode = integerMember(object, CodingKey::carbonKeyCode);
    const std::optional<std::int64_t> modifiers = integerMember(object, CodingKey::carbonModifiers);
    if (!keyCode || !modifiers)
        return std::nullopt;
    return Shortcut{*keyCode, *modifiers};
}

char *toString(const Shortcut &shortcut)
{
    return qstrdup(shortcut.toJson().constData());
}

} // namespace KeyboardShortcuts
