#include "engine/MissingExternalEncoders.h"

#include "engine/ExternalArguments.h"
#include "platform/ChildProcess.h"

#include <algorithm>
#include <set>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

// The names in FFmpeg's list, each behind its six flags: " V....D libx264              libx264 H.264 …".
std::set<std::string> encodersOf(const std::filesystem::path &program)
{
    ChildCommand command;
    command.program = program;
    command.arguments = {"-hide_banner", "-encoders"};
    command.environment = {"LC_ALL=C.UTF-8"};
    ChildProcess ffmpeg(command);
    std::set<std::string> names;
    ffmpeg.readLines([&](const QByteArray &line) {
        const QList<QByteArray> words = line.simplified().split(' ');
        if (words.size() > 1)
            names.insert(words[1].toStdString());
    });
    return names;
}

void add(std::vector<MissingEncoder> &missing, const QString &extension, const QString &needed)
{
    const auto known = std::find_if(missing.begin(), missing.end(),
                                    [&](const MissingEncoder &each) { return each.needed == needed; });
    if (known != missing.end())
        known->extensions.append(extension);
    else
        missing.push_back({{extension}, needed});
}

} // namespace

std::vector<MissingEncoder> missingExternalEncoders(const std::optional<std::filesystem::path> &program,
                                                    const QStringList &targets)
{
    if (!program)
        return {{targets, u"FFmpeg"_s}};
    const std::set<std::string> encoders = encodersOf(*program);
    std::vector<MissingEncoder> missing;
    for (const QString &target : targets) {
        for (const std::string &encoder : externalEncoders(target)) {
            if (!encoders.contains(encoder))
                add(missing, target, u"FFmpeg + "_s + QString::fromStdString(encoder));
        }
    }
    return missing;
}

} // namespace quorvalent
