#pragma once

#include <QLocale>
#include <QString>

#include <memory>
#include <optional>

class QTranslator;

namespace KeyboardShortcuts {

// The module's user-visible texts, looked up by key in its translations ("KeyboardShortcuts_KeyboardShortcuts.bundle",
// built into the library; a folder of that name beside the program is the second place looked in).
class ModuleBundle {
public:
    // Texts in the first of the locale's languages that has them, else in English. Empty when no bundle is found.
    [[nodiscard]] static std::optional<ModuleBundle> open(const QLocale &locale);
    // The bundle for the user's languages, opened on first use; stops the program when there is none, since then
    // the library was built or installed wrongly.
    static const ModuleBundle &shared();

    ModuleBundle(ModuleBundle &&) noexcept;
    ModuleBundle &operator=(ModuleBundle &&) noexcept;
    ~ModuleBundle();

    // The key itself when no translation has it.
    QString localized(const char *key) const;

private:
    ModuleBundle();
    std::unique_ptr<QTranslator> m_translator;
};

// The text of a key in the shared bundle.
QString localized(const char *key);

} // namespace KeyboardShortcuts
