#pragma once

#include "model/AppModel.h"
#include "platform/SettingsFile.h"

#include "support/TestFolder.h"

#include <string>
#include <vector>

namespace quorvalent::test {

/// A desktop of the test's own: real user defaults in a temporary folder; everything else is written down in
/// order. A launch of the program is a new model over the same desktop.
class FakeDesktop
{
public:
    /// The services refer to this desktop, which must outlive the model.
    [[nodiscard]] DesktopServices services();
    /// Reads what is stored now, as a later launch would.
    [[nodiscard]] SettingsFile stored() const;
    [[nodiscard]] bool hasStoredAnything() const { return !folder.listing().empty(); }

    TestFolder folder;
    /// What was asked for: "enable", "disable", "open /file", and what the test adds.
    std::vector<std::string> log;
    [[nodiscard]] std::vector<std::string> takeLog() { return std::exchange(log, {}); }

    LoginItem::Status loginStatus = LoginItem::Status::NotRegistered;
    QString loginFailure; ///< the sentence with which a change of the login item fails, unless empty
    QString language;     ///< the choice that texts follow
    QString languageCode = QStringLiteral("en");
    QString translated;                 ///< what every translation adds to its source
    std::vector<std::string> resources; ///< those that exist, "Help/en.html" for instance

    /// The file manager's one setting; no file manager has it unless `hasFileManager`.
    bool hasFileManager = false;
    std::optional<bool> finderWarning;
    bool finderIsForced = false;
    bool finderKeepsChanges = true;

private:
    [[nodiscard]] QString file() const;
};

} // namespace quorvalent::test
