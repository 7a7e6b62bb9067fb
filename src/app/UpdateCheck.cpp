#include "app/UpdateCheck.h"

#include "app/CheckFailure.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "model/SystemServices.h"
#include "platform/Bundle.h"
#include "update/UpdateManager.h"

#include <QCoreApplication>
#include <QDate>
#include <QJsonObject>

#include <chrono>
#include <functional>
#include <memory>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr int checkIntervalSeconds = 4 * 60 * 60;

// Nothing is fetched by a check.
class NoFeed : public Updater
{
public:
    void start(UpdaterDelegate &newDelegate) override { delegate = &newDelegate; }
    [[nodiscard]] bool canCheckForUpdates() const override { return true; }
    [[nodiscard]] bool automaticallyChecksForUpdates() const override { return true; }
    void setAutomaticallyChecksForUpdates(bool /*enabled*/) override {}
    void setUpdateCheckInterval(std::chrono::seconds newInterval) override { interval = newInterval; }
    void checkForUpdatesInBackground() override {}
    void checkForUpdates() override {}

    UpdaterDelegate *delegate = nullptr;
    std::chrono::seconds interval{0};
};

// A model that converts when it is told to and watches nothing, with its update manager.
class Program
{
public:
    Program()
        : m_model(preferences(), services())
    {
        auto updater = std::make_unique<NoFeed>();
        m_updater = updater.get();
        m_manager = std::make_unique<UpdateManager>(m_model, std::move(updater));
        m_manager->start();
    }

    [[nodiscard]] AppModel &model() { return m_model; }
    [[nodiscard]] UpdateManager &manager() { return *m_manager; }
    [[nodiscard]] NoFeed &updater() { return *m_updater; }
    [[nodiscard]] int installations() const { return m_installations; }

    [[nodiscard]] bool isPostponed()
    {
        return m_updater->delegate->shouldPostponeRelaunch([this] { ++m_installations; });
    }
    void finishConversion()
    {
        m_model.runNext();
        std::exchange(m_conversion, nullptr)();
        QCoreApplication::sendPostedEvents();
    }

    static Preferences preferences()
    {
        Preferences preferences;
        preferences.folders = {"/watched"};
        return preferences;
    }

private:
    ModelServices services()
    {
        ModelServices services = systemServices();
        services.convert = [](auto &&...) { return ConversionReport(); };
        services.inBackground = [this](Task task) { m_conversion = std::move(task); };
        services.later = [](std::chrono::milliseconds, const Task &) {};
        return services;
    }

    Task m_conversion;
    int m_installations = 0;
    AppModel m_model;
    NoFeed *m_updater = nullptr;
    std::unique_ptr<UpdateManager> m_manager;
};

void checkInformation()
{
    const QJsonObject information = Bundle::information();
    const std::pair<QString, QJsonValue> required[] = {
        {u"SURequireSignedFeed"_s, true},
        {u"SUVerifyUpdateBeforeExtraction"_s, true},
        {u"SUEnableAutomaticChecks"_s, true},
        {u"SUUpdateCheckInterval"_s, checkIntervalSeconds},
    };
    for (const auto &[key, value] : required)
        require(information.value(key) == value, u"the bundle's information has another value of "_s + key);
    require(Bundle::information(u"QuorvalentDisplayVersion"_s).has_value(), u"the bundle has no version"_s);
    const QString date = Bundle::information(u"QuorvalentReleaseDate"_s).value_or(QString());
    require(QDate::fromString(date, u"yyyy-MM-dd"_s).isValid(), u"the bundle has no release date"_s);
}

void checkMessages()
{
    const QString keys[] = {u"updates.ready"_s, u"updates.checking"_s, u"updates.waiting"_s,
                            u"updates.current"_s, u"updates.unavailable"_s};
    for (const Localization::Language &language : Localization::languages()) {
        for (const QString &key : keys)
            require(Localization::catalog().value(language.code).value(key, key) != key,
                    language.code + u" has no text for "_s + key);
    }
}

void checkStart()
{
    Program program;
    require(program.updater().interval.count() == checkIntervalSeconds,
            u"updates are not looked for every four hours"_s);
    require(program.manager().automatic(), u"updates are not looked for automatically"_s);
}

void checkIdleProgram()
{
    Program program;
    require(!program.isPostponed() && program.model().installingUpdate(),
            u"an update does not find an idle program prepared"_s);
    program.updater().delegate->didFinishUpdateCycle(std::nullopt);
    require(!program.model().installingUpdate() && program.manager().message() == u"updates.ready"_s,
            u"an update that was given up is not undone"_s);
    program.updater().delegate->didFinishUpdateCycle(UpdateError(UpdateError::Kind::NoUpdate, {}));
    require(program.manager().message() == u"updates.current"_s,
            u"having no update is taken for a failure"_s);
}

// An update waits for every conversion, then is installed once, with nothing watched any more.
void checkPostponement()
{
    Program program;
    for (const char *name : {"a", "b", "c"})
        program.model().enqueue({std::string("/") + name + ".png", std::string("/") + name + ".jpg", {}});
    require(program.isPostponed() && program.manager().message() == u"updates.waiting"_s,
            u"an update does not wait for a conversion"_s);
    for (int finished = 0; finished < 3; ++finished) {
        program.manager().installWhenIdle();
        require(program.installations() == 0 && !program.model().installingUpdate(),
                u"a conversion would be interrupted"_s);
        program.finishConversion();
    }
    program.manager().installWhenIdle();
    program.manager().installWhenIdle();
    require(program.installations() == 1, u"the update that waited is not installed once"_s);
    require(program.model().installingUpdate(), u"renames are still accepted during an installation"_s);
    require(program.model().preferences().folders == Program::preferences().folders,
            u"the watched folders are forgotten by an update"_s);
}

} // namespace

void checkUpdates()
{
    checkInformation();
    checkMessages();
    checkStart();
    checkIdleProgram();
    checkPostponement();
}

} // namespace quorvalent
