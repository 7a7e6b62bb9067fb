#include "model/ConversionStatus.h"

#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <algorithm>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr qsizetype maximumActivities = 30;

QString countText(int number, int total)
{
    return composed(u"{0} sur {1}"_s, {QString::number(number), QString::number(total)});
}

} // namespace

QString changeOfFormat(const RenameJob &job)
{
    return pathExtension(job.oldURL).toUpper() + u" → "_s + pathExtension(job.newURL).toUpper();
}

void ConversionStatus::show(const RenameJob &job, std::optional<double> fraction)
{
    isConverting = true;
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
    progress = outcome.succeeded() ? std::optional(1.0) : std::nullopt;
    currentDetail = outcome.detail;
    activities.prepend(Activity(displayName(job.newURL), outcome.detail, outcome.succeeded()));
    if (activities.size() > maximumActivities)
        activities.removeLast();
    if (outcome.failure) {
        warningTitle = outcome.failure->title;
        warningMessage = outcome.failure->message;
        ++warningCount;
    }
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
        return u"Terminé"_s;
    case ConversionState::Interrupted:
        break;
    }
    return u"Voir Activité"_s;
}

} // namespace quorvalent
