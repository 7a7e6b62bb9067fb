#include "support/FakeDesktop.h"

#include "platform/Error.h"

#include <algorithm>

namespace quorvalent::test {

namespace {

class FakeLoginItem : public LoginItem
{
public:
    explicit FakeLoginItem(FakeDesktop &desktop)
        : m_desktop(desktop)
    {}

    [[nodiscard]] Status status() const override { return m_desktop.loginStatus; }
    void enable() override { change("enable", Status::Enabled); }
    void disable() override { change("disable", Status::NotRegistered); }

private:
    void change(const char *operation, Status result)
    {
        m_desktop.log.emplace_back(operation);
        if (!m_desktop.loginFailure.isEmpty())
            throw Error(m_desktop.loginFailure);
        m_desktop.loginStatus = result;
    }

    FakeDesktop &m_desktop;
};

class FakeFileManager : public PreferencesDomain
{
public:
    explicit FakeFileManager(FakeDesktop &desktop)
        : m_desktop(desktop)
    {}

    [[nodiscard]] std::optional<bool> boolean(const QString &) const override
    {
        return m_desktop.finderWarning;
    }
    [[nodiscard]] bool isForced(const QString &) const override { return m_desktop.finderIsForced; }
    [[nodiscard]] bool set(const QString &key, bool value) override
    {
        m_desktop.log.push_back(key.toStdString() + (value ? " true" : " false"));
        if (m_desktop.finderKeepsChanges)
            m_desktop.finderWarning = value;
        return true;
    }

private:
    FakeDesktop &m_desktop;
};

} // namespace

QString FakeDesktop::file() const
{
    return displayText(folder / "quorvalent.conf");
}

SettingsFile FakeDesktop::stored() const
{
    return SettingsFile(file());
}

DesktopServices FakeDesktop::services()
{
    DesktopServices services;
    services.defaults = std::make_unique<SettingsFile>(file());
    services.loginItem = std::make_unique<FakeLoginItem>(*this);
    if (hasFileManager)
        services.fileManager = std::make_unique<FakeFileManager>(*this);
    services.openFile = [this](const std::filesystem::path &opened) {
        log.push_back("open " + opened.native());
    };
    services.showFile = [this](const std::filesystem::path &shown) {
        log.push_back("show " + shown.string());
    };
    services.resource = [this](const QString &name, const QString &subdirectory) {
        const auto resource = std::filesystem::path(subdirectory.toStdString()) / name.toStdString();
        const bool exists = std::find(resources.begin(), resources.end(), resource) != resources.end();
        return exists ? std::optional(resource) : std::nullopt;
    };
    services.setLanguage = [this](const QString &choice) { language = choice; };
    services.languageCode = [this] { return languageCode; };
    services.translate = [this](const QString &source) { return source + translated; };
    return services;
}

} // namespace quorvalent::test
