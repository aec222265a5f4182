#include "keyboard_shortcuts/platform_services.h"

#include "keyboard_shortcuts/x11/x11_platform_services.h"

#include <QGuiApplication>
#include <QHash>
#include <QLoggingCategory>

Q_LOGGING_CATEGORY(lcKeyboardShortcuts, "scrivlet.keyboardshortcuts")

namespace KeyboardShortcuts {
namespace {

class NullHotKeyService final : public HotKeyService {
public:
    std::unique_ptr<HotKeyGrab> grab(Shortcut, HotKeyHandlers) override { return nullptr; }
};

class NullKeyboardLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key) const override { return std::nullopt; }
};

class UsKeyboardLayout final : public KeyboardLayout {
public:
    std::optional<QString> keyText(Key key) const override
    {
        static const QHash<std::int64_t, QString> texts = [] {
            QHash<std::int64_t, QString> table;
            const std::pair<Key, const char *> keys[] = {
                {Key::a, "a"},          {Key::b, "b"},         {Key::c, "c"},           {Key::d, "d"},
                {Key::e, "e"},          {Key::f, "f"},         {Key::g, "g"},           {Key::h, "h"},
                {Key::i, "i"},          {Key::j, "j"},         {Key::k, "k"},           {Key::l, "l"},
                {Key::m, "m"},          {Key::n, "n"},         {Key::o, "o"},           {Key::p, "p"},
                {Key::q, "q"},          {Key::r, "r"},         {Key::s, "s"},           {Key::t, "t"},
                {Key::u, "u"},          {Key::v, "v"},         {Key::w, "w"},           {Key::x, "x"},
                {Key::y, "y"},          {Key::z, "z"},         {Key::zero, "0"},        {Key::one, "1"},
                {Key::two, "2"},        {Key::three, "3"},     {Key::four, "4"},        {Key::five, "5"},
                {Key::six, "6"},        {Key::seven, "7"},     {Key::eight, "8"},       {Key::nine, "9"},
                {Key::backslash, "\\"}, {Key::backtick, "`"},  {Key::comma, ","},       {Key::equal, "="},
                {Key::minus, "-"},      {Key::period, "."},    {Key::quote, "'"},       {Key::semicolon, ";"},
                {Key::slash, "/"},      {Key::leftBracket, "["}, {Key::rightBracket, "]"},
            };
            for (const auto &[key, text] : keys)
                table.insert(key.rawValue, QString::fromLatin1(text));
            return table;
        }();
        const auto found = texts.constFind(key.rawValue);
        return found == texts.cend() ? std::nullopt : std::optional<QString>(*found);
    }
};

} // namespace

std::unique_ptr<KeyboardLayout> makeUsKeyboardLayout()
{
    return std::make_unique<UsKeyboardLayout>();
}

std::unique_ptr<HotKeyService> makeNullHotKeyService()
{
    return std::make_unique<NullHotKeyService>();
}

std::unique_ptr<KeyboardLayout> makeNullKeyboardLayout()
{
    return std::make_unique<NullKeyboardLayout>();
}

PlatformServices makeNullPlatformServices()
{
    return {makeNullHotKeyService(), makeUsKeyboardLayout()};
}

PlatformServices detectPlatformServices()
{
    if (QGuiApplication::platformName() == u"xcb") {
        if (std::optional<PlatformServices> x11 = makeX11PlatformServices())
            return std::move(*x11);
    }
    qCWarning(lcKeyboardShortcuts) << "no X11 display; global shortcuts are off";
    return makeNullPlatformServices();
}

} // namespace KeyboardShortcuts
