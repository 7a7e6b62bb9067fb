#pragma once

#include <QByteArray>

#include <functional>
#include <optional>

namespace quorvalent {

/// An open descriptor as the program's output: every write is out when it returns. Owns nothing.
class StandardOutput
{
public:
    explicit StandardOutput(int descriptor);

    /// Called once, inside the first write that fails; later writes do nothing.
    std::function<void()> onBroken;

    void write(const QByteArray &bytes);
    [[nodiscard]] bool isBroken() const { return m_isBroken; }

    /// The terminal's present width, or nothing where the output is no terminal that can move its cursor.
    [[nodiscard]] std::optional<int> terminalColumns() const;

private:
    int m_descriptor;
    bool m_movesCursor;
    bool m_isBroken = false;
};

} // namespace quorvalent
