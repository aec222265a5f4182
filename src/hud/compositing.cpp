#include "hud/compositing.h"

#include "hud/x11/x11_compositing.h"

#include <QGuiApplication>

bool isScreenComposited()
{
    if (QGuiApplication::platformName() == u"xcb")
        return x11CompositingManagerRunning();
    return true;
}
