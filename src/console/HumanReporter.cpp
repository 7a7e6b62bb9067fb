#include "console/HumanReporter.h"

#include "console/TerminalText.h"
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
    return u'[' + QString(filled, u'=') + QString(barColumns - filled, u' ') +
           u"] %1 % "_s.arg(static_cast<int>(done * 100), 3);
}

} // namespace

HumanReporter::HumanReporter(Output output, Columns columns, ProgressThrottle throttle)
    : m_output(std::move(output))
    , m_columns(std::move(columns))
    , m_throttle(std::move(throttle))
{}

void HumanReporter::watching(const std::vector<std::filesystem::path> &folders)
{
    line(u"Dossiers surveillés :"_s);
    for (const std::filesystem::path &folder : folders)
        line(u"  "_s + displayText(folder));
}

void HumanReporter::detected(const RenameJob & /*job*/)
{
    // Its start or its place in the queue shows soon enough.
}

void HumanReporter::started(const RenameJob &job, const QString &detail, int queued)
{
    m_throttle.reset();
    m_name = printable(displayName(job.newURL));
    m_detail = printable(detail);
    m_fraction.reset();
    if (m_columns()) {
        m_output(progressLine());
        return;
    }
    const QString waiting = queued > 0 ? u", %1 en attente"_s.arg(queued) : QString();
    line(u"Conversion en cours : %1 (%2)%3"_s.arg(m_name, m_detail, waiting));
}

void HumanReporter::progressed(const RenameJob & /*job*/, std::optional<double> fraction)
{
    m_fraction = fraction;
    if (m_columns() && m_throttle.admits(fraction))
        m_output(progressLine());
}

void HumanReporter::finished(const RenameJob &job, const JobOutcome &outcome)
{
    m_name.clear();
    const QString name = displayName(job.newURL);
    if (outcome.failure) {
        line(u"✗ %1 (%2)  %3 : %4"_s.arg(name, m_detail, outcome.failure->title, outcome.detail));
        return;
    }
    const QString seconds = QLocale(QLocale::French).toString(outcome.seconds.count(), 'f', 2);
    line(u"✓ %1 (%2)  %3 (%4 s)"_s.arg(name, m_detail, outcome.detail, seconds));
}

void HumanReporter::problem(const QString &message)
{
    line(u"Problème de surveillance : "_s + message);
}

void HumanReporter::stopping(int remaining)
{
    if (remaining > 0)
        line(u"Fin demandée. Conversions à terminer : %1"_s.arg(remaining));
}

void HumanReporter::line(const QString &text)
{
    const bool onTerminal = m_columns().has_value();
    QByteArray bytes = (onTerminal ? QByteArray(clearLine) : QByteArray()) + printable(text).toUtf8() + '\n';
    if (onTerminal && !m_name.isEmpty())
        bytes += progressLine();
    m_output(bytes);
}

QByteArray HumanReporter::progressLine() const
{
    // The last column stays free: some terminals wrap as soon as it is written.
    const int columns = m_columns().value_or(0) - 1;
    QString text = bar(m_fraction) + u' ';
    const int beside = columns - columnsOf(text);
    const QString format = u"  "_s + m_detail;
    const int forName = beside - columnsOf(format);
    if (forName >= columnsOf(m_name) / 2)
        text += elidedInTheMiddle(m_name, forName) + format;
    else
        text = elidedInTheMiddle(beside > 0 ? text + elidedInTheMiddle(m_name, beside) : text, columns);
    return clearLine + text.toUtf8();
}

} // namespace quorvalent
