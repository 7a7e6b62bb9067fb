#include "platform/Bundle.h"

#include <QFile>
#include <QJsonDocument>

#include <unistd.h>

namespace quorvalent::Bundle {

std::filesystem::path root()
{
    // The kernel's own answer: independent of argv[0], of the working folder and of links in bin/.
    std::error_code failed;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", failed);
    if (failed)
        return {};
    const std::filesystem::path above = executable.parent_path().parent_path();
    const bool isHelper = executable.parent_path().filename() == "Helpers" && above.filename() == "Contents";
    return isHelper ? above.parent_path() : above;
}

QJsonObject information()
{
    QFile file(root() / "Contents/Info.json");
    return file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()).object() : QJsonObject();
}

std::optional<QString> information(const QString &key)
{
    const QJsonValue value = information().value(key);
    return value.isString() ? std::optional(value.toString()) : std::nullopt;
}

std::optional<std::filesystem::path> resource(const QString &name, const QString &subdirectory)
{
    std::error_code failed;
    auto path = root() / "Contents/Resources" / subdirectory.toStdString() / name.toStdString();
    return std::filesystem::is_regular_file(path, failed) ? std::optional(std::move(path)) : std::nullopt;
}

std::filesystem::path helper(const char *name)
{
    return root() / "Contents/Helpers" / name;
}

std::filesystem::path libraries()
{
    return root() / "Contents/Libraries";
}

bool isExecutableFile(const std::filesystem::path &path)
{
    std::error_code failed;
    return std::filesystem::is_regular_file(path, failed) && ::access(path.c_str(), X_OK) == 0;
}

} // namespace quorvalent::Bundle
