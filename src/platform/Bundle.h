#pragma once

#include <QJsonObject>
#include <QString>

#include <filesystem>
#include <optional>

namespace quorvalent {

/// The application bundle: the folder above the bin/ or the Contents/Helpers/ that holds the running
/// executable, links resolved.
namespace Bundle {

/// Root folder of the bundle.
[[nodiscard]] std::filesystem::path root();

/// All of the bundle's information file, Contents/Info.json; empty where it cannot be read.
[[nodiscard]] QJsonObject information();

/// A text of the bundle's information file, Contents/Info.json; nothing where the file or the key is missing.
[[nodiscard]] std::optional<QString> information(const QString &key);

/// A file of the bundle's resources, by its name and its subfolder ("" for none); nothing when it is missing.
[[nodiscard]] std::optional<std::filesystem::path> resource(const QString &name, const QString &subdirectory);

/// A program of the bundle's Contents/Helpers by its file name, whether it is there or not.
[[nodiscard]] std::filesystem::path helper(const char *name);

/// The folder of the libraries that a bundle for every distribution brings along; others have none.
[[nodiscard]] std::filesystem::path libraries();

/// Whether a regular file that this user may execute stands at the path; links are followed.
[[nodiscard]] bool isExecutableFile(const std::filesystem::path &path);

} // namespace Bundle

} // namespace quorvalent
