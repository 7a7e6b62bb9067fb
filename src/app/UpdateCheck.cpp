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
    void start(UpdaterDelegate & /*delegate*/) override {}
    [[nodiscard]] bool canCheckForUpdates() const override { return false; }
    [[nodiscard]] bool automaticallyChecksForUpdates() const override { return false; }
    void setAutomaticallyChecksForUpdates(bool /*enabled*/) override {}
    void setUpdateCheckInterval(std::chrono::seconds /*interval*/) override {}
    void checkForUpdatesInBackground() override {}
    void checkForUpdates() override {}
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

// An update waits for the running conversion, then is installed once, with nothing watched any more.
void checkPostponement()
{
    Task conversion;
    ModelServices services = systemServices();
    services.convert = [](const RenameJob &, const Preferences &, const Progress &) {};
    services.inBackground = [&conversion](Task task) { conversion = std::move(task); };
    AppModel model(Preferences(), std::move(services));
    UpdateManager manager(model, std::make_unique<NoFeed>());
    int installations = 0;

    model.enqueue({"/a.png", "/a.jpg", {}});
    require(manager.requestInstallation([&installations] { ++installations; }),
            u"an update does not wait for a conversion"_s);
    manager.installWhenIdle();
    require(installations == 0 && !model.installingUpdate(), u"a conversion would be interrupted"_s);

    conversion();
    QCoreApplication::sendPostedEvents();
    manager.installWhenIdle();
    manager.installWhenIdle();
    require(installations == 1, u"the update that waited is not installed once"_s);
    require(model.installingUpdate(), u"renames are still accepted during an installation"_s);
}

} // namespace

void checkUpdates()
{
    checkInformation();
    checkMessages();
    checkPostponement();
}

} // namespace quorvalent
