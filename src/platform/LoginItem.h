#pragma once

namespace quorvalent {

/// The program's entry among those that the desktop starts with a session. Main thread.
class LoginItem
{
public:
    enum class Status {
        Enabled,
        RequiresApproval, ///< there, but the user switched it off in the desktop's own settings
        NotRegistered,
    };

    LoginItem() = default;
    LoginItem(const LoginItem &) = delete;
    LoginItem &operator=(const LoginItem &) = delete;
    virtual ~LoginItem() = default;

    [[nodiscard]] virtual Status status() const = 0;
    /// The program starts with the next session, whatever was said before; throws Error.
    virtual void enable() = 0;
    /// It no longer does; throws Error.
    virtual void disable() = 0;
};

} // namespace quorvalent
