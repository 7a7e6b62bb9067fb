#pragma once

#include <QtGlobal>

#include <filesystem>

namespace quorvalent::test {

/// Sets a variable of the environment, and gives it its former value back at the end.
class ScopedVariable
{
public:
    ScopedVariable(const char *name, const std::filesystem::path &value)
        : m_name(name)
        , m_former(qgetenv(name))
    {
        qputenv(name, QByteArray::fromStdString(value.native()));
    }
    ~ScopedVariable() { m_former.isNull() ? qunsetenv(m_name) : qputenv(m_name, m_former); }
    ScopedVariable(const ScopedVariable &) = delete;
    ScopedVariable &operator=(const ScopedVariable &) = delete;

private:
    const char *m_name;
    QByteArray m_former;
};

} // namespace quorvalent::test
