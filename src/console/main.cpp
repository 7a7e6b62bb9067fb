#include "console/HumanReporter.h"
#include "console/JsonReporter.h"
#include "console/Options.h"
#include "console/StandardOutput.h"
#include "console/TerminalText.h"
#include "console/WatchSession.h"
#include "convert/MissingEncoders.h"
#include "i18n/AppVersion.h"
#include "i18n/Localization.h"
#include "model/SystemServices.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"
#include "platform/TerminationSignals.h"
#include "platform/cage/CageReach.h"

#include <QCoreApplication>

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <utility>

namespace {

using namespace quorvalent;
using namespace Qt::StringLiterals;

constexpr int badUsage = 2;

// `sentence` is in French.
void complain(const QString &sentence)
{
    const QString line = composed(L(u"quorvalent-watch : {0}"_s), {L(sentence)});
    StandardOutput(STDERR_FILENO).write(line.toUtf8() + '\n');
}

int print(const QString &text)
{
    StandardOutput output(STDOUT_FILENO);
    output.write(text.toUtf8());
    return output.isBroken() ? EXIT_FAILURE : EXIT_SUCCESS;
}

QString versionText()
{
    QString text = u"quorvalent-watch "_s + L(AppVersion::display()) + u'\n' +
                   L(CageReach::ofThisMachine().description()) + u'\n';
    try {
        for (const MissingEncoder &missing : MissingEncoders::of(HelperPrograms::bundled()))
            text += L(missing.description()) + u'\n';
    } catch (const Error &failure) {
        text += L(failure.errorDescription()) + u'\n';
    }
    return text;
}

int watch(const Options &options)
{
    StandardOutput output(STDOUT_FILENO);
    const auto write = [&output](const QByteArray &bytes) { output.write(bytes); };
    std::unique_ptr<Reporter> reporter;
    if (options.json)
        reporter = std::make_unique<JsonReporter>(write);
    else
        reporter = std::make_unique<HumanReporter>(write, [&output] { return output.terminalColumns(); });

    ModelServices services = systemServices();
    services.pacing = {.pauses = false, .lanes = options.jobs}; // nobody looks at a banner here
    AppModel model(options.preferences, std::move(services));
    WatchSession session(model, *reporter, &QCoreApplication::exit);
    TerminationSignals signals;
    signals.onSignal = [&session](int signalNumber) { session.stop(signalNumber); };
    output.onBroken = [&session] {
        complain(u"La sortie standard n’accepte plus rien."_s);
        // The write that failed may stand in the middle of the model's own work.
        QMetaObject::invokeMethod(&session, &WatchSession::stopForBrokenOutput, Qt::QueuedConnection);
    };

    session.start();
    const int status = QCoreApplication::exec();
    for (const RenameJob &job : session.abandoned())
        complain(composed(u"« {0} » a été renommé mais n’a pas été converti."_s,
                          {printable(displayText(job.newURL))}));
    return status;
}

} // namespace

int main(int argc, char **argv)
{
    const std::vector<std::string> arguments(argv + (argc > 0 ? 1 : 0), argv + argc);
    Localization::override = Options::languageOf(arguments);
    try {
        const Options options = Options::parse(arguments);
        if (options.action == Options::Action::ShowHelp)
            return print(helpText());
        if (options.action == Options::Action::ShowVersion)
            return print(versionText());
        // The folders are absolute by now. No other path may lead into the folder that the program happens to
        // be started in.
        std::filesystem::current_path("/");
        const QCoreApplication application(argc, argv);
        return watch(options);
    } catch (const UsageError &error) {
        complain(error.errorDescription());
        return badUsage;
    } catch (const Error &error) {
        complain(error.errorDescription()); // a thread or a descriptor that watching cannot do without
        return EXIT_FAILURE;
    }
}
