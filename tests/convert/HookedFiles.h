#pragma once

#include "platform/Files.h"

#include <functional>
#include <map>
#include <type_traits>

namespace quorvalent::test {

enum class Step {
    CreateFolder,
    Copy,
    FreeBytes,
    Attributes,
    CarryOver,
    Flush,
    Exists,
    Move,
    OpenForWriting,
    Remove,
    RemoveTree
};

/// The real file operations, with a test looking over their shoulder: `before` and `after` hear of every
/// operation and which one of its kind it is, from 1. What a hook throws, the operation throws.
class HookedFiles : public Files
{
    template <typename Operation>
    auto hooked(Step step, const Operation &operation) const
    {
        const int count = ++m_counts[step];
        before(step, count);
        if constexpr (std::is_void_v<decltype(operation())>) {
            operation();
            after(step, count);
        } else {
            const auto answer = operation();
            after(step, count);
            return answer;
        }
    }

public:
    using Hook = std::function<void(Step step, int count)>;
    Hook before = [](Step, int) {};
    Hook after = [](Step, int) {};

    using Path = std::filesystem::path;
    FileAttributes attributes(const Path &path) const override
    {
        return hooked(Step::Attributes, [&] { return Files::attributes(path); });
    }
    bool exists(const Path &path) const override
    {
        return hooked(Step::Exists, [&] { return Files::exists(path); });
    }
    void createPrivateFolder(const Path &path) const override
    {
        hooked(Step::CreateFolder, [&] { Files::createPrivateFolder(path); });
    }
    void copy(const Path &from, const Path &to) const override
    {
        hooked(Step::Copy, [&] { Files::copy(from, to); });
    }
    void moveNoReplace(const Path &from, const Path &to) const override
    {
        hooked(Step::Move, [&] { Files::moveNoReplace(from, to); });
    }
    void remove(const Path &path) const override
    {
        hooked(Step::Remove, [&] { Files::remove(path); });
    }
    void removeTree(const Path &path) const override
    {
        hooked(Step::RemoveTree, [&] { Files::removeTree(path); });
    }
    void flush(const Path &path) const override
    {
        hooked(Step::Flush, [&] { Files::flush(path); });
    }
    void carryOverAttributes(const Path &original, const Path &result) const override
    {
        hooked(Step::CarryOver, [&] { Files::carryOverAttributes(original, result); });
    }
    std::optional<std::uint64_t> freeBytes(const Path &folder) const override
    {
        return hooked(Step::FreeBytes, [&] { return Files::freeBytes(folder); });
    }
    bool isOpenForWriting(const Path &path) const override
    {
        return hooked(Step::OpenForWriting, [&] { return Files::isOpenForWriting(path); });
    }

private:
    mutable std::map<Step, int> m_counts;
};

} // namespace quorvalent::test
