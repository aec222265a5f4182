// Feeds any bytes to the decoder of stored shortcuts (the user may have written the value by hand), and what it
// decodes to the texts a menu shows. Needs no display: the texts are made for the US layout.
#include "keyboard_shortcuts/keyboard_layout.h"
#include "keyboard_shortcuts/shortcut.h"
#include "keyboard_shortcuts/shortcut_text.h"

#include <QByteArrayView>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    using namespace KeyboardShortcuts;
    const std::optional<Shortcut> shortcut = Shortcut::fromJson(QByteArrayView(data, qsizetype(size)));
    if (!shortcut)
        return 0;
    // What is stored reads back as the same shortcut, whatever form it was decoded from.
    if (Shortcut::fromJson(shortcut->toJson()) != shortcut)
        std::abort();
    // Both texts give the modifiers their own way and then the same key, never nothing for it.
    static const std::unique_ptr<KeyboardLayout> layout = makeUsKeyboardLayout();
    const QString words = modifierWords(shortcut->modifiers());
    const QString symbols = modifierSymbols(shortcut->modifiers());
    const QString display = displayText(*shortcut, *layout);
    const QString symbolic = symbolText(*shortcut, *layout);
    if (!display.startsWith(words) || !symbolic.startsWith(symbols) || display.size() == words.size() ||
        QStringView(display).sliced(words.size()) != QStringView(symbolic).sliced(symbols.size()))
        std::abort();
    return 0;
}
