#pragma once

#include "platform/Files.h"

#include <functional>
#include <map>

namespace quorvalent::test {

enum class Step { CreateFolder, Copy, FreeBytes, Attributes, CarryOver, Flush, Move, Remove, RemoveTree };

/// The real file operations, with a test looking over their shoulder: `before` and `after` hear of every
/// operation and which one of its kind it is, from 1. What a hook throws, the operation throws.
class HookedFiles : public Files
{
    using Path = std::filesystem::path;

    template <typename Operation>
    auto hooked(Step step, const Operation &operation) const
    {
        struct After
        {
            const HookedFiles &files;
            Step step;
            int count;
            ~After() noexcept(false) { files.after(step, count); }
        };
        const int count = ++m_counts[step];
        before(step, count);
        const After afterwards{*this, step, count};
        return operation();
    }
    mutable std::map<Step, int> m_counts;

public:
    std::function<void(Step step, int count)> before = [](Step, int) {};
    std::function<void(Step step, int count)> after = [](Step, int) {};

    FileAttributes attributes(const Path &path) const override
    {
        return hooked(Step::Attributes, [&] { return Files::attributes(path); });
    }
    std::optional<std::uint64_t> freeBytes(const Path &path) const override
    {
        return hooked(Step::FreeBytes, [&] { return Files::freeBytes(path); });
    }
    void createPrivateFolder(const Path &path) const override
    {
        hooked(Step::CreateFolder, [&] { Files::createPrivateFolder(path); });
    }
    void copy(const Path &from, const Path &to) const override
    {
        hooked(Step::Copy, [&] { Files::copy(from, to); });
    }
    void carryOverAttributes(const Path &from, const Path &to) const override
    {
        hooked(Step::CarryOver, [&] { Files::carryOverAttributes(from, to); });
    }
    void moveNoReplace(const Path &from, const Path &to) const override
    {
        hooked(Step::Move, [&] { Files::moveNoReplace(from, to); });
    }
    void flush(const Path &path) const override
    {
        hooked(Step::Flush, [&] { Files::flush(path); });
    }
    void remove(const Path &path) const override
    {
        hooked(Step::Remove, [&] { Files::remove(path); });
    }
    void removeTree(const Path &path) const override
    {
        hooked(Step::RemoveTree, [&] { Files::removeTree(path); });
    }
};

} // namespace quorvalent::test
