#include "console/HumanReporter.h"

#include "console/TerminalText.h"
#include "i18n/Localization.h"
#include "model/ConversionStatus.h"
#include "platform/ComposedText.h"
#include "platform/Error.h"

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr const char *clearLine = "\r\x1b[K";
constexpr int barColumns = 20;

QString bar(std::optional<double> fraction)
{
    if (!fraction || !std::isfinite(*fraction))
        return u'[' + QString(barColumns, u'·') + u"]   …   "_s;
    const double done = std::clamp(*fraction, 0.0, 1.0);
    const int filled = static_cast<int>(done * barColumns);
    return u'[' + QString(filled, u'=') + QString(barColumns - filled, u' ') + u"] "_s +
           L(composed(u"{0} %"_s, {QString::number(static_cast<int>(done * 100))})).rightJustified(5) + u' ';
}

} // namespace

HumanReporter::HumanReporter(Output output, Columns columns, ProgressThrottle throttle)
    : m_output(std::move(output))
    , m_columns(std::move(columns))
    , m_throttle(std::move(throttle))
{}

void HumanReporter::watching(const std::vector<std::filesystem::path> &folders)
{
    line(L(u"Dossiers surveillés :"_s));
    for (const std::filesystem::path &folder : folders)
        line(u"  "_s + displayText(folder));
}

void HumanReporter::detected(const RenameJob & /*job*/)
{
    // Its start or its place in the queue shows soon enough.
}

void HumanReporter::dropped(const RenameJob &job)
{
    // What becomes of the file shows when its turn comes.
    end(job);
}

void HumanReporter::started(const RenameJob &job, const QString &detail, int queued)
{
    m_running.push_back(
        {job.newURL, printable(displayName(job.newURL)), printable(detail), m_throttle, std::nullopt});
    if (m_columns()) {
        m_output(progressLine());
        return;
    }
    const RunningJob &running = m_running.back();
    if (queued > 0)
        line(composed(L(u"Conversion en cours : {0} ({1}), {2} en attente"_s),
                      {running.name, running.detail, QString::number(queued)}));
    else
        line(composed(L(u"Conversion en cours : {0} ({1})"_s), {running.name, running.detail}));
}

void HumanReporter::progressed(const RenameJob &job, std::optional<double> fraction)
{
    const auto running = std::ranges::find(m_running, job.newURL, &RunningJob::file);
    if (running == m_running.end())
        return;
    running->fraction = fraction;
    if (running == m_running.begin() && m_columns() && running->throttle.admits(fraction))
        m_output(progressLine());
}

void HumanReporter::finished(const RenameJob &job, const JobOutcome &outcome)
{
    end(job);
    const QString name = displayName(job.newURL);
    const QString detail = changeOfFormat(job);
    if (outcome.isCancelled) {
        line(composed(L(u"– {0} ({1})  {2}"_s), {name, detail, L(outcome.detail)}));
        return;
    }
    if (outcome.failure) {
        line(composed(L(u"✗ {0} ({1})  {2} : {3}"_s),
                      {name, detail, L(outcome.failure->title), L(outcome.detail)}));
        return;
    }
    const QString seconds = QLocale(Localization::code()).toString(outcome.seconds.count(), 'f', 2);
    line(composed(L(u"✓ {0} ({1})  {2} ({3} s)"_s), {name, detail, L(outcome.detail), seconds}));
    for (const QString &remark : outcome.remarks)
        line(u"  "_s + L(remark));
}

void HumanReporter::end(const RenameJob &job)
{
    std::erase_if(m_running, [&job](const RunningJob &running) { return running.file == job.newURL; });
}

void HumanReporter::problem(const QString &message)
{
    line(composed(L(u"Problème de surveillance : {0}"_s), {L(message)}));
}

void HumanReporter::stopping(int remaining)
{
    if (remaining > 0)
        line(composed(L(u"Fin demandée. Conversions à terminer : {0}"_s), {QString::number(remaining)}));
}

void HumanReporter::line(const QString &text)
{
    const bool onTerminal = m_columns().has_value();
    QByteArray bytes = (onTerminal ? QByteArray(clearLine) : QByteArray()) + printable(text).toUtf8() + '\n';
    if (onTerminal && !m_running.empty())
        bytes += progressLine();
    m_output(bytes);
}

QByteArray HumanReporter::progressLine() const
{
    // The last column stays free: some terminals wrap as soon as it is written.
    const int columns = m_columns().value_or(0) - 1;
    const RunningJob &shown = m_running.front();
    QString text = bar(shown.fraction) + u' ';
    const int beside = columns - columnsOf(text);
    const QString format = u"  "_s + shown.detail;
    const int forName = beside - columnsOf(format);
    if (forName >= columnsOf(shown.name) / 2)
        text += elidedInTheMiddle(shown.name, forName) + format;
    else
        text = elidedInTheMiddle(beside > 0 ? text + elidedInTheMiddle(shown.name, beside) : text, columns);
    return clearLine + text.toUtf8();
}

} // namespace quorvalent
