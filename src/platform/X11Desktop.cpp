#include "platform/X11Desktop.h"

#include <QSocketNotifier>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include <xcb/xcb.h>

namespace quorvalent::X11Desktop {

namespace {

struct Free
{
    void operator()(void *reply) const { std::free(reply); } // NOLINT: xcb's replies are malloc'ed
};
template <typename Reply>
using Owned = std::unique_ptr<Reply, Free>;

constexpr uint32_t mostWindows = 4096;
constexpr uint32_t strutLength = 12;
constexpr uint32_t frameLength = 4;
// A window manager that answers at all does so within a few milliseconds.
constexpr auto framePatience = std::chrono::milliseconds(200);
constexpr auto framePoll = std::chrono::milliseconds(2);

class Connection
{
public:
    Connection()
        : m_connection(xcb_connect(nullptr, &m_screen))
    {}
    ~Connection() { xcb_disconnect(m_connection); }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;

    [[nodiscard]] bool isOpen() const { return xcb_connection_has_error(m_connection) == 0; }
    [[nodiscard]] int screen() const { return m_screen; }

    [[nodiscard]] const xcb_screen_t *root() const
    {
        xcb_screen_iterator_t screens = xcb_setup_roots_iterator(xcb_get_setup(m_connection));
        for (int i = 0; i < m_screen && screens.rem > 1; ++i)
            xcb_screen_next(&screens);
        return screens.data;
    }

    [[nodiscard]] xcb_atom_t atom(const std::string &name) const
    {
        const auto cookie = xcb_intern_atom(m_connection, 1, static_cast<uint16_t>(name.size()), name.data());
        const Owned<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(m_connection, cookie, nullptr));
        return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
    }

    [[nodiscard]] bool hasOwner(const std::string &selection) const
    {
        if (!isOpen())
            return false;
        const xcb_atom_t name = atom(selection);
        if (name == XCB_ATOM_NONE)
            return false;
        const auto cookie = xcb_get_selection_owner(m_connection, name);
        const Owned<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(m_connection, cookie, nullptr));
        return reply && reply->owner != XCB_WINDOW_NONE;
    }

    [[nodiscard]] xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property, xcb_atom_t type,
                                                uint32_t length) const
    {
        return xcb_get_property(m_connection, 0, window, property, type, 0, length);
    }

    void sendToWindowManager(xcb_window_t window, xcb_atom_t message) const
    {
        xcb_client_message_event_t event{};
        event.response_type = XCB_CLIENT_MESSAGE;
        event.format = 32;
        event.window = window;
        event.type = message;
        xcb_send_event(m_connection, 0, root()->root,
                       XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT,
                       reinterpret_cast<const char *>(&event));
        xcb_flush(m_connection);
    }

    [[nodiscard]] std::vector<uint32_t> answer(xcb_get_property_cookie_t cookie) const
    {
        const Owned<xcb_get_property_reply_t> reply(xcb_get_property_reply(m_connection, cookie, nullptr));
        if (!reply || reply->format != 32)
            return {};
        const auto bytes = static_cast<std::size_t>(xcb_get_property_value_length(reply.get()));
        std::vector<uint32_t> values(bytes / sizeof(uint32_t));
        std::memcpy(values.data(), xcb_get_property_value(reply.get()), values.size() * sizeof(uint32_t));
        return values;
    }

private:
    int m_screen = 0;
    xcb_connection_t *m_connection;
};

std::string selection(const char *name, int screen)
{
    return name + std::to_string(screen);
}

// Whether a stretch along an edge has something in common with the side of a screen.
bool touches(int first, int last, int begin, int end)
{
    return first < end && last >= begin;
}

} // namespace

Panels panels()
{
    const Connection connection;
    if (!connection.isOpen())
        return {};
    const xcb_screen_t *root = connection.root();
    Panels panels{QSize(root->width_in_pixels, root->height_in_pixels), {}};
    const xcb_atom_t partial = connection.atom("_NET_WM_STRUT_PARTIAL");
    const xcb_atom_t clientList = connection.atom("_NET_CLIENT_LIST");
    if (partial == XCB_ATOM_NONE || clientList == XCB_ATOM_NONE)
        return panels;
    std::vector<xcb_get_property_cookie_t> asked;
    for (const uint32_t window :
         connection.answer(connection.ask(root->root, clientList, XCB_ATOM_WINDOW, mostWindows)))
        asked.push_back(connection.ask(window, partial, XCB_ATOM_CARDINAL, strutLength));
    for (const xcb_get_property_cookie_t cookie : asked) {
        const std::vector<uint32_t> values = connection.answer(cookie);
        if (values.size() != strutLength)
            continue;
        Strut strut;
        std::transform(values.begin(), values.end(), strut.values.begin(),
                       [](uint32_t value) { return static_cast<int>(value); });
        panels.struts.push_back(strut);
    }
    return panels;
}

QRect visibleArea(const QRect &screen, const Panels &panels)
{
    int left = screen.left();
    int top = screen.top();
    int right = screen.left() + screen.width();
    int bottom = screen.top() + screen.height();
    const int screenRight = right;
    const int screenBottom = bottom;
    for (const Strut &strut : panels.struts) {
        const auto &[l, r, t, b, lFirst, lLast, rFirst, rLast, tFirst, tLast, bFirst, bLast] = strut.values;
        // A depth counts from the edge of the root, so it may lie wholly on a screen in between.
        if (l > screen.left() && l < screenRight && touches(lFirst, lLast, screen.top(), screenBottom))
            left = std::max(left, l);
        if (r > 0 && panels.root.width() - r > screen.left() &&
            touches(rFirst, rLast, screen.top(), screenBottom))
            right = std::min(right, panels.root.width() - r);
        if (t > screen.top() && t < screenBottom && touches(tFirst, tLast, screen.left(), screenRight))
            top = std::max(top, t);
        if (b > 0 && panels.root.height() - b > screen.top() &&
            touches(bFirst, bLast, screen.left(), screenRight))
            bottom = std::min(bottom, panels.root.height() - b);
    }
    return {left, top, std::max(0, right - left), std::max(0, bottom - top)};
}

std::optional<QMargins> frameOf(uint32_t window)
{
    const Connection connection;
    if (!connection.isOpen())
        return {};
    const xcb_atom_t extents = connection.atom("_NET_FRAME_EXTENTS");
    const xcb_atom_t request = connection.atom("_NET_REQUEST_FRAME_EXTENTS");
    if (extents == XCB_ATOM_NONE || request == XCB_ATOM_NONE)
        return {};
    connection.sendToWindowManager(window, request);
    const auto end = std::chrono::steady_clock::now() + framePatience;
    do {
        const std::vector<uint32_t> values =
            connection.answer(connection.ask(window, extents, XCB_ATOM_CARDINAL, frameLength));
        if (values.size() == frameLength) {
            return QMargins(static_cast<int>(values[0]), static_cast<int>(values[2]),
                            static_cast<int>(values[1]), static_cast<int>(values[3]));
        }
        std::this_thread::sleep_for(framePoll);
    } while (std::chrono::steady_clock::now() < end);
    return {};
}

bool hasCompositor()
{
    const Connection connection;
    return connection.hasOwner(selection("_NET_WM_CM_S", connection.screen()));
}

bool hasTray()
{
    const Connection connection;
    return connection.hasOwner(selection("_NET_SYSTEM_TRAY_S", connection.screen()));
}

void TrayWatch::Disconnect::operator()(xcb_connection_t *connection) const
{
    xcb_disconnect(connection);
}

TrayWatch::TrayWatch(std::function<void()> onTray)
    : m_connection(xcb_connect(nullptr, nullptr))
    , m_onTray(std::move(onTray))
{
    xcb_connection_t *connection = m_connection.get();
    if (xcb_connection_has_error(connection) != 0)
        return;
    // A new owner of the tray announces itself to the root window, with a message of the type MANAGER.
    const uint32_t structure = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    xcb_change_window_attributes(connection, root, XCB_CW_EVENT_MASK, &structure);
    xcb_flush(connection);
    m_notifier =
        std::make_unique<QSocketNotifier>(xcb_get_file_descriptor(connection), QSocketNotifier::Read);
    connect(m_notifier.get(), &QSocketNotifier::activated, this, &TrayWatch::read);
}

TrayWatch::~TrayWatch() = default;

void TrayWatch::read()
{
    while (const Owned<xcb_generic_event_t> event{xcb_poll_for_event(m_connection.get())}) {
        constexpr uint8_t typeMask = 0x7f; // without the mark of sent events
        if ((event->response_type & typeMask) != XCB_CLIENT_MESSAGE || !hasTray() || !m_onTray)
            continue;
        const auto onTray = std::exchange(m_onTray, {});
        m_notifier->setEnabled(false);
        onTray(); // may destroy this watch
        return;
    }
    if (xcb_connection_has_error(m_connection.get()) != 0)
        m_notifier->setEnabled(false);
}

} // namespace quorvalent::X11Desktop
