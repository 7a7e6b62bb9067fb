#include "model/JobOutcome.h"

#include "core/ConversionError.h"
#include "platform/ComposedText.h"

#include <new>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// After a failure the file has its old name back, unless that was not possible.
const std::filesystem::path &presentPlace(const RenameJob &job)
{
    const auto exists = [](const std::filesystem::path &file) {
        std::error_code failed;
        return std::filesystem::exists(std::filesystem::symlink_status(file, failed));
    };
    return exists(job.newURL) || !exists(job.oldURL) ? job.newURL : job.oldURL;
}

JobOutcome failed(const QString &title, const QString &message)
{
    JobOutcome outcome;
    outcome.failure = JobFailure{title, message};
    outcome.detail = message;
    return outcome;
}

JobOutcome succeeded(ConversionReport report, bool keepsOriginal)
{
    JobOutcome outcome;
    outcome.canBeTakenBack = report.canBeTakenBack;
    if (report.isReturn)
        outcome.detail = u"Original rétabli."_s;
    else if (report.original || (keepsOriginal && !report.isUnchanged))
        outcome.detail = u"Terminé · original conservé"_s;
    else
        outcome.detail = u"Conversion terminée"_s;
    outcome.remarks = std::move(report.remarks);
    outcome.original = std::move(report.original);
    outcome.result = std::move(report.result);
    return outcome;
}

JobOutcome untimedOutcomeOf(const ConvertJob &convert, const RenameJob &job, const Preferences &preferences,
                            const ConversionRun &run)
{
    const QString impossible = u"Conversion impossible"_s;
    try {
        return succeeded(convert(job, preferences, run), preferences.keepOriginal);
    } catch (const UnsupportedRenameError &error) {
        return failed(u"Format non pris en charge"_s, error.errorDescription());
    } catch (const FileElsewhere &) {
        JobOutcome outcome;
        outcome.isElsewhere = true;
        return outcome;
    } catch (const ConversionCancelled &cancellation) {
        JobOutcome outcome;
        outcome.isCancelled = true;
        outcome.detail = cancellation.errorDescription();
        return outcome;
    } catch (const Error &error) {
        return failed(impossible, error.errorDescription());
    } catch (const std::bad_alloc &) {
        return failed(impossible, u"Mémoire insuffisante pour convertir ce fichier."_s);
    } catch (const std::exception &error) {
        return failed(impossible, composed(u"Erreur inattendue : {0}"_s, {QString::fromUtf8(error.what())}));
    }
}

} // namespace

JobOutcome outcomeOf(const ConvertJob &convert, const RenameJob &job, const Preferences &preferences,
                     const ConversionRun &run)
{
    const auto start = std::chrono::steady_clock::now();
    JobOutcome outcome = untimedOutcomeOf(convert, job, preferences, run);
    outcome.seconds = std::chrono::steady_clock::now() - start;
    outcome.file = outcome.succeeded() ? job.newURL : presentPlace(job);
    return outcome;
}

} // namespace quorvalent
