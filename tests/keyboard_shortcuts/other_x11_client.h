#pragma once

#include <QTest>

#include <xcb/xcb.h>

#include <cstdlib>

constexpr xcb_keycode_t keycodeOf2 = 11;
constexpr std::uint16_t superShiftMask = XCB_MOD_MASK_4 | XCB_MOD_MASK_SHIFT;

// Gives the event loop time to deliver anything still on its way, for checks that something did not happen.
inline void settle()
{
    QTest::qWait(300);
}

// A second X client on the same display; its grabs end with it.
class OtherClient {
public:
    OtherClient() : m_connection(xcb_connect(nullptr, nullptr))
    {
        m_root = xcb_setup_roots_iterator(xcb_get_setup(m_connection)).data->root;
    }
    ~OtherClient() { xcb_disconnect(m_connection); }
    OtherClient(const OtherClient &) = delete;
    OtherClient &operator=(const OtherClient &) = delete;

    // False when another client (we) already holds it.
    bool grab(xcb_keycode_t keycode = keycodeOf2, std::uint16_t modifiers = superShiftMask)
    {
        xcb_generic_error_t *error =
            xcb_request_check(m_connection, xcb_grab_key_checked(m_connection, 1, m_root, modifiers, keycode,
                                                                 XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
        std::free(error);
        return error == nullptr;
    }
    void ungrabAll()
    {
        xcb_ungrab_key(m_connection, XCB_GRAB_ANY, m_root, XCB_MOD_MASK_ANY);
        std::free(xcb_get_input_focus_reply(m_connection, xcb_get_input_focus(m_connection), nullptr)); // round trip
    }
    // The modifier and lock state of the keyboard.
    std::uint16_t keyboardState()
    {
        xcb_query_pointer_reply_t *reply =
            xcb_query_pointer_reply(m_connection, xcb_query_pointer(m_connection, m_root), nullptr);
        const std::uint16_t mask = reply ? reply->mask : 0;
        std::free(reply);
        return mask;
    }

private:
    xcb_connection_t *m_connection;
    xcb_window_t m_root = 0;
};
