#pragma once

#include <QMargins>
#include <QObject>
#include <QRect>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

struct xcb_connection_t;
class QSocketNotifier;

namespace quorvalent {

/// What Qt does not tell about an X11 desktop. Main thread; each question opens a connection of its own for
/// some round trips. Without an X server the answers are "nothing" and "no".
namespace X11Desktop {

/// The space at the edges of the whole root window that one panel keeps for itself, in device pixels.
struct Strut
{
    /// Depth at the left, right, top and bottom edge, then the first and last pixel along each of them.
    std::array<int, 12> values{};
    bool operator==(const Strut &) const = default;
};

struct Panels
{
    QSize root;
    std::vector<Strut> struts;
};

[[nodiscard]] Panels panels();

/// The part of a screen that no panel keeps for itself. All in device pixels of the root window.
[[nodiscard]] QRect visibleArea(const QRect &screen, const Panels &panels);

/// The frame that the window manager is going to put around a window that was created and not shown yet, in
/// device pixels. Asks and waits a moment for the answer; nothing where no window manager answers.
[[nodiscard]] std::optional<QMargins> frameOf(uint32_t window);

/// Windows may be translucent.
[[nodiscard]] bool hasCompositor();

/// A panel takes icons that are windows.
[[nodiscard]] bool hasTray();

/// Calls back, once, when a panel begins to take icons that are windows; sleeps until then.
class TrayWatch : public QObject
{
    Q_OBJECT

public:
    explicit TrayWatch(std::function<void()> onTray);
    ~TrayWatch() override;

private:
    void read();

    struct Disconnect
    {
        void operator()(xcb_connection_t *connection) const;
    };
    std::unique_ptr<xcb_connection_t, Disconnect> m_connection;
    std::unique_ptr<QSocketNotifier> m_notifier;
    std::function<void()> m_onTray;
};

} // namespace X11Desktop

} // namespace quorvalent
