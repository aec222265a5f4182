#include "platform/qt_clipboard.h"

#include <QClipboard>
#include <QGuiApplication>

namespace Platform {

void QtClipboard::setText(const QString &text)
{
    QGuiApplication::clipboard()->setText(text, QClipboard::Clipboard);
}

} // namespace Platform
