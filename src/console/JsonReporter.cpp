#include "console/JsonReporter.h"

#include "platform/ControlCharacters.h"
#include "platform/Error.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>
#include <cmath>

namespace quorvalent {

namespace {

QByteArray json(const QJsonArray &array)
{
    // Qt escapes the controls below the space alone; a terminal that shows the line obeys the others too.
    const QByteArray text = QJsonDocument(array).toJson(QJsonDocument::Compact);
    return withEscapedControls(QString::fromUtf8(text)).toUtf8();
}

QByteArray json(const QString &text)
{
    return json(QJsonArray{text}).chopped(1).sliced(1);
}

QByteArray json(const std::filesystem::path &path)
{
    return json(displayText(path));
}

QByteArray json(const std::optional<std::filesystem::path> &path)
{
    return path ? json(*path) : QByteArray("null");
}

// Three places: a thousandth of a job, a millisecond of a conversion.
QByteArray json(double number)
{
    return QByteArray::number(number, 'f', 3);
}

QByteArray json(bool value)
{
    return value ? "true" : "false";
}

// Qt's objects sort their members; these stand in the order in which they are added.
class EventLine
{
public:
    explicit EventLine(const char *event)
        : m_line(QByteArray("{\"event\":\"") + event + '"')
    {}

    EventLine &add(const char *member, const QByteArray &value)
    {
        m_line += QByteArray(",\"") + member + "\":" + value;
        return *this;
    }
    [[nodiscard]] QByteArray end() const { return m_line + "}\n"; }

private:
    QByteArray m_line;
};

EventLine jobEvent(const char *event, const RenameJob &job)
{
    return EventLine(event).add("old", json(job.oldURL)).add("new", json(job.newURL));
}

} // namespace

JsonReporter::JsonReporter(Output output, ProgressThrottle throttle)
    : m_output(std::move(output))
    , m_throttle(std::move(throttle))
{}

void JsonReporter::watching(const std::vector<std::filesystem::path> &folders)
{
    QJsonArray texts;
    for (const std::filesystem::path &folder : folders)
        texts.append(displayText(folder));
    m_output(EventLine("watching").add("folders", json(texts)).end());
}

void JsonReporter::detected(const RenameJob &job)
{
    m_output(jobEvent("detected", job).end());
}

void JsonReporter::dropped(const RenameJob &job)
{
    m_jobs.erase(job.newURL);
    m_output(jobEvent("dropped", job).end());
}

void JsonReporter::started(const RenameJob &job, const QString &detail, int queued)
{
    m_jobs.insert_or_assign(job.newURL, m_throttle);
    m_output(
        jobEvent("started", job).add("detail", json(detail)).add("queued", QByteArray::number(queued)).end());
}

void JsonReporter::progressed(const RenameJob &job, std::optional<double> fraction)
{
    if (!m_jobs.try_emplace(job.newURL, m_throttle).first->second.admits(fraction))
        return;
    const bool known = fraction && std::isfinite(*fraction);
    const QByteArray value = known ? json(std::clamp(*fraction, 0.0, 1.0)) : QByteArray("null");
    m_output(EventLine("progress").add("new", json(job.newURL)).add("fraction", value).end());
}

void JsonReporter::finished(const RenameJob &job, const JobOutcome &outcome)
{
    m_jobs.erase(job.newURL);
    EventLine line = jobEvent("finished", job);
    line.add("success", json(outcome.succeeded()));
    if (outcome.failure)
        line.add("title", json(outcome.failure->title));
    line.add("detail", json(outcome.detail))
        .add("remarks", json(QJsonArray::fromStringList(outcome.remarks)))
        .add("original", json(outcome.original))
        .add("seconds", json(outcome.seconds.count()));
    m_output(line.end());
}

void JsonReporter::problem(const QString &message)
{
    m_output(EventLine("problem").add("message", json(message)).end());
}

void JsonReporter::stopping(int /*remaining*/)
{
    // Whoever reads the events sent the signal.
}

} // namespace quorvalent
