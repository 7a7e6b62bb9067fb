#pragma once

#include <QByteArray>
#include <QString>

#include <exception>
#include <filesystem>

namespace quorvalent {

/// Root of every failure that may reach the user: carries one complete French sentence, the source text
/// that a view translates when it shows it. Code decides by the type, people read the sentence.
class Error : public std::exception
{
public:
    explicit Error(QString message);

    /// The sentence, unchanged.
    [[nodiscard]] const QString &errorDescription() const noexcept { return m_message; }
    /// The same in UTF-8, for debuggers and test output.
    [[nodiscard]] const char *what() const noexcept override { return m_utf8.constData(); }

private:
    QString m_message;
    QByteArray m_utf8;
};

/// A file operation that the system refused. The error number becomes a sentence here and goes no further.
class FileError : public Error
{
public:
    /// `errorNumber` is an errno value; `path` is named by its last component.
    FileError(int errorNumber, const std::filesystem::path &path);

    /// The item is not there (ENOENT, ENOTDIR).
    [[nodiscard]] bool isNotFound() const noexcept { return m_notFound; }
    /// Something stands where the item should have gone (EEXIST, ENOTEMPTY).
    [[nodiscard]] bool isOccupied() const noexcept { return m_occupied; }

private:
    bool m_notFound;
    bool m_occupied;
};

/// The text people see for a path or a name: UTF-8, each invalid byte as U+FFFD. One way only; nothing
/// turns the text back into a path.
[[nodiscard]] QString displayText(const std::filesystem::path &path);

/// The last component of the path, as people see it.
[[nodiscard]] QString displayName(const std::filesystem::path &path);

} // namespace quorvalent
