#include "model/JobOutcome.h"

#include "core/ConversionError.h"
#include "platform/ComposedText.h"

#include <new>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

std::optional<JobFailure> failureOf(const ConvertJob &convert, const RenameJob &job,
                                    const Preferences &preferences, const Progress &progress)
{
    const QString failed = u"Conversion impossible"_s;
    try {
        convert(job, preferences, progress);
        return std::nullopt;
    } catch (const UnsupportedRenameError &error) {
        return JobFailure{u"Format non pris en charge"_s, error.errorDescription()};
    } catch (const Error &error) {
        return JobFailure{failed, error.errorDescription()};
    } catch (const std::bad_alloc &) {
        return JobFailure{failed, u"Mémoire insuffisante pour convertir ce fichier."_s};
    } catch (const std::exception &error) {
        return JobFailure{failed, composed(u"Erreur inattendue : {0}"_s, {QString::fromUtf8(error.what())})};
    }
}

} // namespace

JobOutcome outcomeOf(const ConvertJob &convert, const RenameJob &job, const Preferences &preferences,
                     const Progress &progress)
{
    const auto start = std::chrono::steady_clock::now();
    JobOutcome outcome;
    outcome.failure = failureOf(convert, job, preferences, progress);
    outcome.seconds = std::chrono::steady_clock::now() - start;
    if (outcome.failure)
        outcome.detail = outcome.failure->message;
    else
        outcome.detail =
            preferences.keepOriginal ? u"Terminé · original conservé"_s : u"Conversion terminée"_s;
    return outcome;
}

} // namespace quorvalent
