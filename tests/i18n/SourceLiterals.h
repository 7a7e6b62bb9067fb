#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include <QString>

namespace quorvalent::test {

/// One string literal of a C++ source; neighbours that the compiler joins are one.
struct SourceLiteral
{
    std::string file;    ///< below src/
    int line = 0;        ///< where it begins
    QString text;        ///< as the program has it
    std::string callee;  ///< the function that it is the first argument of, or empty
    bool isText = false; ///< of a type that becomes a QString by itself
};

/// Every string literal of a source text; comments and included names are none.
[[nodiscard]] std::vector<SourceLiteral> literalsOf(const QString &source, const std::string &file);

/// Of every .cpp and .h file below a folder.
[[nodiscard]] std::vector<SourceLiteral> literalsBelow(const std::filesystem::path &folder);

} // namespace quorvalent::test
