#include "model/DesktopServices.h"

#include <QMap>
#include <QVariant>

namespace quorvalent {

namespace {

class MemoryDefaults : public UserDefaults
{
public:
    [[nodiscard]] std::optional<QString> string(const QString &key) const override
    {
        return valueOf<QString>(key);
    }
    [[nodiscard]] std::optional<QByteArray> data(const QString &key) const override
    {
        return valueOf<QByteArray>(key);
    }
    [[nodiscard]] std::optional<bool> boolean(const QString &key) const override
    {
        return valueOf<bool>(key);
    }

    void set(const QString &key, const QString &value) override { m_values[key] = value; }
    void set(const QString &key, const QByteArray &value) override { m_values[key] = value; }
    void set(const QString &key, bool value) override { m_values[key] = value; }
    void remove(const QString &key) override { m_values.remove(key); }
    void keepDamaged() override {}

private:
    template <typename Value>
    [[nodiscard]] std::optional<Value> valueOf(const QString &key) const
    {
        const QVariant value = m_values.value(key);
        return value.metaType() == QMetaType::fromType<Value>() ? std::optional(value.value<Value>())
                                                                : std::nullopt;
    }

    QMap<QString, QVariant> m_values;
};

class NoLoginItem : public LoginItem
{
public:
    [[nodiscard]] Status status() const override { return Status::NotRegistered; }
    void enable() override {}
    void disable() override {}
};

} // namespace

DesktopServices noDesktop()
{
    DesktopServices desktop;
    desktop.defaults = std::make_unique<MemoryDefaults>();
    desktop.loginItem = std::make_unique<NoLoginItem>();
    desktop.openFile = [](const std::filesystem::path &) {};
    desktop.showFile = desktop.openFile;
    desktop.resource = [](const QString &, const QString &) { return std::nullopt; };
    desktop.setLanguage = [](const QString &) {};
    desktop.languageCode = [] { return QStringLiteral("en"); };
    desktop.translate = [](const QString &source) { return source; };
    return desktop;
}

} // namespace quorvalent
