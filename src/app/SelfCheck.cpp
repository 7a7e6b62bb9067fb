#include "app/SelfCheck.h"

#include "app/ConversionCheck.h"
#include "app/LocalizationCheck.h"
#include "app/UpdateCheck.h"
#include "convert/MissingEncoders.h"
#include "platform/Error.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <string>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// What went wrong, or nothing.
std::optional<std::string> failureOf(void (*check)())
{
    try {
        check();
        return std::nullopt;
    } catch (const std::exception &error) {
        return error.what();
    }
}

int runAlone(void (*check)())
{
    const std::optional<std::string> failure = failureOf(check);
    if (failure)
        std::printf("%s\n", failure->c_str());
    return failure ? EXIT_FAILURE : EXIT_SUCCESS;
}

// What the machine lacks is told; it is no fault of the program's.
void tellMissingEncoders()
{
    for (const MissingEncoder &missing : MissingEncoders::of(HelperPrograms::bundled()))
        std::printf("  %s cannot be written here without %s\n", qPrintable(missing.extensions.join(u", "_s)),
                    qPrintable(missing.needed));
}

int runAll()
{
    struct Check
    {
        const char *name;
        void (*run)();
    };
    const Check checks[] = {{"encoders", &tellMissingEncoders},
                            {"updates", &checkUpdates},
                            {"languages", &checkLocalization},
                            {"renames, conversions and refusals", &checkConversions}};

    std::setvbuf(stdout, nullptr, _IONBF, 0); // each line is seen when its check starts
    for (const Check &check : checks) {
        std::printf("%s\n", check.name);
        if (const std::optional<std::string> failure = failureOf(check.run)) {
            std::fprintf(stderr, "TEST FAILED: %s\n", failure->c_str());
            return EXIT_FAILURE;
        }
    }
    std::printf("ALL TESTS PASSED\n");
    return EXIT_SUCCESS;
}

} // namespace

int runChecks(LaunchMode::Action action)
{
    if (action == LaunchMode::Action::UpdateTest)
        return runAlone(&checkUpdates);
    if (action == LaunchMode::Action::LocalizationTest)
        return runAlone(&checkLocalization);
    return runAll();
}

} // namespace quorvalent
