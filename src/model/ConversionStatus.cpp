#include "model/ConversionStatus.h"

#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <algorithm>
#include <utility>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype maximumActivities = 30;

QString countText(int number, int total)
{
    return composed(u"{0} sur {1}"_s, {QString::number(number), QString::number(total)});
}

QString folderOf(const std::filesystem::path &file)
{
    return displayText(file.parent_path());
}

} // namespace

QString changeOfFormat(const RenameJob &job)
{
    return pathExtension(job.oldURL).toUpper() + u" → "_s + pathExtension(job.newURL).toUpper();
}

void ConversionStatus::show(const RenameJob &job, std::optional<double> fraction)
{
    isConverting = true;
    isOriginalLeft = false;
    progress = fraction;
    currentName = displayName(job.newURL);
    currentDetail = changeOfFormat(job);
}

void ConversionStatus::end(const RenameJob &job, const JobOutcome &outcome)
{
    isConverting = false;
    if (batch) {
        ++batch->over;
        batch->succeeded += outcome.succeeded() ? 1 : 0;
    }
    isOriginalLeft = outcome.original && !outcome.remarks.isEmpty();
    progress = outcome.succeeded() ? std::optional(1.0) : std::nullopt;
    currentDetail = outcome.detail;
    const std::filesystem::path &file = outcome.file.empty() ? job.newURL : outcome.file;
    Activity activity(displayName(file), outcome.detail, outcome.succeeded());
    activity.folder = folderOf(file);
    activity.file = file;
    activity.change = changeOfFormat(job);
    activity.remarks = outcome.remarks;
    activity.isCancelled = outcome.isCancelled;
    add(activity);
    if (outcome.failure)
        warn(outcome.failure->title, {activity.name, activity.folder, outcome.failure->message});
}

void ConversionStatus::addInterruption(const InterruptedConversion &interrupted)
{
    const QString title = u"Conversion interrompue"_s;
    Activity activity(displayName(interrupted.file), title, false);
    activity.folder = folderOf(interrupted.file);
    activity.file = interrupted.file;
    activity.remarks.append(interrupted.sentence);
    add(activity);
    warn(title, {activity.name, activity.folder, interrupted.sentence});
}

void ConversionStatus::clearWarnings()
{
    warningCount = 0;
    warnedFiles.clear();
}

void ConversionStatus::add(Activity activity)
{
    activities.prepend(std::move(activity));
    if (activities.size() > maximumActivities)
        activities.removeLast();
}

void ConversionStatus::warn(const QString &title, const WarnedFile &file)
{
    warningTitle = title;
    warningMessage = file.message;
    ++warningCount;
    warnedFiles.prepend(file);
    if (warnedFiles.size() > maximumActivities)
        warnedFiles.removeLast();
}

ConversionState ConversionStatus::state() const
{
    if (isConverting)
        return ConversionState::Converting;
    return progress == 1.0 ? ConversionState::Succeeded : ConversionState::Interrupted;
}

QString ConversionStatus::progressTitle() const
{
    switch (state()) {
    case ConversionState::Converting:
        return u"Conversion en cours"_s;
    case ConversionState::Succeeded:
        return u"C’est converti"_s;
    case ConversionState::Interrupted:
        break;
    }
    return u"Conversion interrompue"_s;
}

QString ConversionStatus::percentageText() const
{
    if (!isConverting || !progress)
        return {};
    return composed(u"{0} %"_s, {QString::number(static_cast<int>(*progress * 100))});
}

QString ConversionStatus::bannerLabel() const
{
    switch (state()) {
    case ConversionState::Converting:
        if (batch)
            return countText(std::min(batch->over + 1, batch->total), batch->total);
        return progress ? percentageText() : u"En cours"_s;
    case ConversionState::Succeeded:
        if (batch)
            return countText(batch->succeeded, batch->total);
        return isOriginalLeft ? u"Original conservé"_s : u"Terminé"_s;
    case ConversionState::Interrupted:
        break;
    }
    return u"Voir Activité"_s;
}

} // namespace quorvalent
