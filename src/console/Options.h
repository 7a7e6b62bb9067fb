#pragma once

#include "core/Preferences.h"
#include "platform/Error.h"

#include <QString>

#include <optional>
#include <string>
#include <vector>

namespace quorvalent {

/// A command line that cannot be obeyed; the French sentence names the argument and holds no line break.
class UsageError : public Error
{
public:
    using Error::Error;
};

/// What the command line of quorvalent-watch asks for.
struct Options
{
    enum class Action { Watch, ShowHelp, ShowVersion };

    Action action = Action::Watch;
    bool json = false;
    QString language = QStringLiteral("system"); ///< of the lines for people: the session's, or a code
    std::optional<int> jobs;                     ///< conversions side by side, 1 to 64; nothing: see Lanes
    Preferences preferences;                     ///< the folders are absolute, exist, and are there once each

    /// Reads the arguments after the program's name, bytes as they came. Throws UsageError.
    [[nodiscard]] static Options parse(const std::vector<std::string> &arguments);

    /// The language that the arguments ask for, found without judging them: refusals speak it too.
    [[nodiscard]] static QString languageOf(const std::vector<std::string> &arguments);
};

/// What --help prints, in the display language.
[[nodiscard]] QString helpText();

} // namespace quorvalent
