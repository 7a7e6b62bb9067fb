#include "media/ExportSession.h"

#include "media/ExportCheck.h"
#include "platform/Bundle.h"
#include "platform/ChildProcess.h"
#include "platform/ComposedText.h"
#include "platform/NamelessFile.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

constexpr std::array allFileTypes{MovieFileType::QuickTimeMovie, MovieFileType::AppleM4V,
                                  MovieFileType::Mpeg4};

// The counts and the last words stand at the end; a damaged source may fill any length before them.
QByteArray endOf(const FileDescriptor &file)
{
    constexpr off_t most = 256L * 1024;
    const off_t size = ::lseek(file.get(), 0, SEEK_END);
    QByteArray text(static_cast<qsizetype>(std::clamp<off_t>(size, 0, most)), Qt::Uninitialized);
    const ssize_t count = ::pread(file.get(), text.data(), static_cast<std::size_t>(text.size()),
                                  std::max<off_t>(0, size - most));
    text.truncate(std::max<ssize_t>(0, count));
    return text;
}

std::vector<std::string> argumentsFor(const ExportPlan &plan, const std::filesystem::path &source,
                                      const std::filesystem::path &output)
{
    // The log level lets FFmpeg count packets at its end; the prefix makes a name of any name; a movie that
    // refers to other files reads none of them over the network.
    std::vector<std::string> arguments = {"-nostdin",
                                          "-hide_banner",
                                          "-loglevel",
                                          "level+verbose",
                                          "-nostats",
                                          "-progress",
                                          "pipe:1",
                                          "-stats_period",
                                          "0.1",
                                          "-n",
                                          "-protocol_whitelist",
                                          "file",
                                          "-i",
                                          "file:" + source.native()};
    arguments.insert(arguments.end(), plan.arguments.begin(), plan.arguments.end());
    arguments.push_back("file:" + output.native());
    return arguments;
}

Error failure(ExitStatus status, const QString &lastWords, const std::filesystem::path &output)
{
    if (lastWords.contains("No space left on device"_L1)) // strerror's text in the C locale
        return FileError(ENOSPC, output);
    const QString number = QString::number(status.signal != 0 ? status.signal : status.code);
    if (lastWords.isEmpty())
        return Error(status.signal != 0 ? composed(u"Échec de l’export vidéo (signal {0})."_s, {number})
                                        : composed(u"Échec de l’export vidéo (code {0})."_s, {number}));
    return Error(status.signal != 0
                     ? composed(u"Échec de l’export vidéo (signal {0}) : {1}"_s, {number, lastWords})
                     : composed(u"Échec de l’export vidéo (code {0}) : {1}"_s, {number, lastWords}));
}

} // namespace

ExportSession::ExportSession(std::filesystem::path source, Plans plans, std::filesystem::path program)
    : m_source(std::move(source))
    , m_plans(std::move(plans))
    , m_program(std::move(program))
{}

ExportSession::~ExportSession()
{
    if (!m_thread.joinable())
        return;
    m_isCancelled = true;
    if (const int child = m_childHandle.load(); child >= 0)
        ::syscall(SYS_pidfd_send_signal, child, SIGKILL, nullptr, 0);
    m_thread.join();
    FileDescriptor(m_childHandle.load()).close();
}

ExportSession::Plans ExportSession::plansFor(const SourceMedia &media, ExportPreset preset)
{
    Plans plans;
    for (const MovieFileType type : allFileTypes)
        if (std::optional<ExportPlan> plan = planExport(media, preset, type))
            plans.emplace(type, *std::move(plan));
    return plans;
}

std::unique_ptr<ExportSession> ExportSession::create(const std::filesystem::path &source, ExportPreset preset,
                                                     const std::filesystem::path &program)
{
    if (!Bundle::isExecutableFile(program))
        return nullptr;
    Plans plans;
    // Where the index tells that nothing needs decoding, a probe would cost as much as half the export.
    if (const auto index = MovieIndex::read(source); index && preset == ExportPreset::HighestQuality)
        if (const auto media = SourceMedia::fromIndex(*index))
            plans = plansFor(*media, preset);
    if (plans.size() < allFileTypes.size()) {
        const std::optional<SourceMedia> media = SourceMedia::read(source);
        if (!media)
            return nullptr;
        plans = plansFor(*media, preset);
    }
    if (plans.empty())
        return nullptr;
    return std::unique_ptr<ExportSession>(new ExportSession(source, std::move(plans), program));
}

std::set<MovieFileType> ExportSession::supportedFileTypes() const
{
    std::set<MovieFileType> types;
    for (const auto &[type, plan] : m_plans)
        types.insert(type);
    return types;
}

QStringList ExportSession::omissions(MovieFileType type) const
{
    const auto plan = m_plans.find(type);
    return plan == m_plans.end() ? QStringList() : plan->second.omissions;
}

void ExportSession::exportAsynchronously(std::function<void()> completion)
{
    m_completion = std::move(completion);
    m_status = Status::Exporting;
    m_thread = std::thread([this] { run(); });
}

void ExportSession::run()
{
    Status final = Status::Failed;
    try {
        final = exportNow();
    } catch (const Error &error) {
        m_error = error;
    }
    m_status = final;
    m_completion();
}

ExportSession::Status ExportSession::exportNow()
{
    const ExportPlan &plan = m_plans.at(outputFileType);
    const FileDescriptor log = createNamelessFile(outputURL.parent_path());
    ChildCommand command;
    command.program = m_program;
    command.arguments = argumentsFor(plan, m_source, outputURL);
    command.environment = {"LC_ALL=C.UTF-8", "TMPDIR=" + outputURL.parent_path().native()};
    command.standardError = log.get();

    ExitStatus status;
    {
        ChildProcess child(command);
        // The handle means this child even after it has ended, unlike its number.
        // The C library's own function is not usable from C++ before its version 2.37.
        m_childHandle = static_cast<int>(::syscall(SYS_pidfd_open, child.processId(), 0));
        if (m_isCancelled)
            return Status::Failed;
        const double seconds = plan.seconds.value_or(0);
        child.readLines([this, seconds](const QByteArray &line) { readProgress(line, seconds); });
        status = child.wait();
    }

    const ExportLog words = ExportLog::parse(endOf(log));
    if (!status.isSuccess()) {
        m_error = failure(status, words.lastWords, outputURL);
        return Status::Failed;
    }
    if (words.isSourceDamaged) {
        m_error = Error(u"Fichier source endommagé : certaines parties sont illisibles."_s);
        return Status::Failed;
    }
    const std::optional<MovieIndex> result = MovieIndex::read(outputURL);
    return result && isFaithful(plan, words, *result) ? Status::Completed : Status::Failed;
}

void ExportSession::readProgress(const QByteArray &line, double seconds)
{
    static const QByteArray key = "out_time_us=";
    if (!line.startsWith(key) || seconds <= 0)
        return;
    bool isNumber = false; // "N/A" before the first packet
    const double microseconds = line.sliced(key.size()).toDouble(&isNumber);
    if (isNumber)
        m_progress = std::clamp(microseconds / 1e6 / seconds, m_progress.load(), 1.0);
}

} // namespace quorvalent
