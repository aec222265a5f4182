#include "keyboard_shortcuts/module_bundle.h"

#include <QCoreApplication>
#include <QDir>
#include <QTranslator>

namespace KeyboardShortcuts {
namespace {

constexpr auto bundleName = "KeyboardShortcuts_KeyboardShortcuts.bundle";
constexpr auto context = "KeyboardShortcuts";

QStringList candidateDirectories()
{
    QStringList directories{QStringLiteral(":/") + QLatin1String(bundleName)};
    if (QCoreApplication::instance())
        directories.append(QCoreApplication::applicationDirPath() + QLatin1Char('/') + QLatin1String(bundleName));
    return directories;
}

} // namespace

ModuleBundle::ModuleBundle() : m_translator(std::make_unique<QTranslator>()) {}
ModuleBundle::ModuleBundle(ModuleBundle &&) noexcept = default;
ModuleBundle &ModuleBundle::operator=(ModuleBundle &&) noexcept = default;
ModuleBundle::~ModuleBundle() = default;

std::optional<ModuleBundle> ModuleBundle::open(const QLocale &locale)
{
    for (const QString &directory : candidateDirectories()) {
        if (!QDir(directory).exists())
            continue;
        ModuleBundle bundle;
        if (bundle.m_translator->load(locale, QStringLiteral("keyboard_shortcuts"), QStringLiteral("_"), directory) ||
            bundle.m_translator->load(QStringLiteral("keyboard_shortcuts_en"), directory))
            return bundle;
    }
    return std::nullopt;
}

const ModuleBundle &ModuleBundle::shared()
{
    static const ModuleBundle bundle = [] {
        std::optional<ModuleBundle> found = open(QLocale());
        if (!found)
            qFatal("unable to find bundle named KeyboardShortcuts_KeyboardShortcuts");
        return std::move(*found);
    }();
    return bundle;
}

QString ModuleBundle::localized(const char *key) const
{
    const QString text = m_translator->translate(context, key);
    return text.isEmpty() ? QString::fromUtf8(key) : text;
}

QString localized(const char *key)
{
    return ModuleBundle::shared().localized(key);
}

} // namespace KeyboardShortcuts
