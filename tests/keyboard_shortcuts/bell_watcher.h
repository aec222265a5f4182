#pragma once

#include <xcb/xcb.h>
// xcb/xkb.h names a struct member "explicit".
#define explicit explicit_
#include <xcb/xkb.h>
#undef explicit

#include <cstdint>
#include <cstdlib>

// Counts the bells the X server rings, as a second client that asked XKB for bell notifications.
class BellWatcher {
public:
    BellWatcher() : m_connection(xcb_connect(nullptr, nullptr))
    {
        std::free(xcb_xkb_use_extension_reply(m_connection, xcb_xkb_use_extension(m_connection, 1, 0), nullptr));
        xcb_xkb_select_events(m_connection, XCB_XKB_ID_USE_CORE_KBD, XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0,
                              XCB_XKB_EVENT_TYPE_BELL_NOTIFY, 0, 0, nullptr);
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        m_xkbFirstEvent = xcb_get_extension_data(m_connection, &xcb_xkb_id)->first_event;
    }
    ~BellWatcher() { xcb_disconnect(m_connection); }
    BellWatcher(const BellWatcher &) = delete;
    BellWatcher &operator=(const BellWatcher &) = delete;

    // Bells rung since the watcher was made.
    int count()
    {
        // A round trip, so that every bell rung before this call has arrived.
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr));
        while (xcb_generic_event_t *event = xcb_poll_for_event(m_connection)) {
            // Byte 1 of every XKB event is its XKB type.
            m_count += (event->response_type & 0x7f) == m_xkbFirstEvent && event->pad0 == XCB_XKB_BELL_NOTIFY;
            std::free(event);
        }
        return m_count;
    }

private:
    xcb_connection_t *m_connection;
    std::uint8_t m_xkbFirstEvent = 0;
    int m_count = 0;
};
