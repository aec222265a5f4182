#include "hud/x11/x11_compositing.h"

#include <QGuiApplication>

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace {
struct FreeDeleter {
    void operator()(void *p) const noexcept { std::free(p); }
};
template <typename T> using XcbReply = std::unique_ptr<T, FreeDeleter>;
} // namespace

bool x11CompositingManagerRunning()
{
    const auto *x11 = qGuiApp ? qGuiApp->nativeInterface<QNativeInterface::QX11Application>() : nullptr;
    xcb_connection_t *connection = x11 ? x11->connection() : nullptr;
    if (!connection)
        return false;
    static constexpr char name[] = "_NET_WM_CM_S0";
    XcbReply<xcb_intern_atom_reply_t> atom(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, sizeof(name) - 1, name), nullptr));
    if (!atom)
        return false;
    XcbReply<xcb_get_selection_owner_reply_t> owner(
        xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr));
    return owner && owner->owner != XCB_NONE;
}
