#include "platform/UserDefaults.h"

#include <QMetaType>
#include <QStandardPaths>
#include <QVariant>

namespace quorvalent {

using namespace Qt::StringLiterals;

UserDefaults::UserDefaults()
    : UserDefaults(QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                   u"/quorvalent/quorvalent.conf"_s)
{}

UserDefaults::UserDefaults(const QString &file)
    : m_settings(file, QSettings::IniFormat)
{
    m_settings.setFallbacksEnabled(false);
}

std::optional<QString> UserDefaults::string(const QString &key) const
{
    const QVariant value = m_settings.value(key);
    if (value.typeId() != QMetaType::QString)
        return std::nullopt;
    return value.toString();
}

std::optional<QByteArray> UserDefaults::data(const QString &key) const
{
    const QVariant value = m_settings.value(key);
    if (value.typeId() != QMetaType::QByteArray)
        return std::nullopt;
    return value.toByteArray();
}

std::optional<bool> UserDefaults::boolean(const QString &key) const
{
    // An INI file knows texts only: "true" and "false" are what it makes of a Boolean.
    const QString text = m_settings.value(key).toString();
    if (text == u"true"_s)
        return true;
    if (text == u"false"_s)
        return false;
    return std::nullopt;
}

void UserDefaults::set(const QString &key, const QString &value)
{
    store(key, value);
}

void UserDefaults::set(const QString &key, const QByteArray &value)
{
    store(key, value);
}

void UserDefaults::set(const QString &key, bool value)
{
    store(key, value ? u"true"_s : u"false"_s);
}

void UserDefaults::remove(const QString &key)
{
    m_settings.remove(key);
    m_settings.sync();
}

void UserDefaults::store(const QString &key, const QVariant &value)
{
    m_settings.setValue(key, value);
    m_settings.sync();
}

} // namespace quorvalent
