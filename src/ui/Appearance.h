#pragma once

#include "model/AppModel.h"

#include <QDBusVariant>
#include <QObject>

#include <optional>

namespace quorvalent {

class Style;

/// Gives the whole application the light or the dark palette: what the user chose, else what the session says
/// through the desktop portal, followed live, else what the palette was at the start. Asks the portal without
/// waiting, because a cold portal takes its time.
class Appearance : public QObject
{
    Q_OBJECT

public:
    /// `style` is the application's own.
    explicit Appearance(Style &style, QObject *parent = nullptr);

    void setChoice(AppModel::Appearance choice);
    /// Begins to follow the session.
    void followSession();

private:
    Q_SLOT void onSettingChanged(const QString &group, const QString &key, const QDBusVariant &value);

    void ask(const QString &group, const QString &key);
    void take(const QString &group, const QString &key, const QVariant &value);
    void askAll();
    void apply();

    Style &m_style;
    AppModel::Appearance m_choice = AppModel::Appearance::System;
    bool m_paletteIsDark; ///< at the start
    std::optional<bool> m_sessionIsDark;
    bool m_wantsReducedMotion = false; ///< says the session, and so it says in its older way:
    bool m_hasAnimations = true;
};

} // namespace quorvalent
