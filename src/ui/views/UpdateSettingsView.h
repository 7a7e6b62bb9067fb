#pragma once

#include "ui/views/Section.h"

namespace quorvalent {

class AppModel;
class Label;
class PushButton;
class Toggle;
class UpdateManager;
class WrappingLabel;

/// The state of the updates, and what the user decides about them.
class UpdateSettingsView : public Section
{
    Q_OBJECT

public:
    UpdateSettingsView(AppModel &model, UpdateManager &updater, QWidget *parent = nullptr);

    void refresh() override;

private:
    AppModel &m_model;
    UpdateManager &m_updater;
    Label *m_versionLabel;
    Label *m_version;
    WrappingLabel *m_message;
    PushButton *m_check;
    Toggle *m_automatic;
    WrappingLabel *m_schedule;
    WrappingLabel *m_privacy;
};

} // namespace quorvalent
