#pragma once

#include "ui/views/Section.h"

namespace quorvalent {

class AppModel;
class Label;
class PushButton;
class WrappingLabel;

/// Who made the program, which version this is, and the licences.
class AboutSection : public Section
{
    Q_OBJECT

public:
    explicit AboutSection(AppModel &model, QWidget *parent = nullptr);

    void refresh() override;

private:
    [[nodiscard]] QWidget *makeProduct();
    [[nodiscard]] QWidget *makeLicences();

    AppModel &m_model;
    Label *m_name;
    WrappingLabel *m_creator;
    Label *m_versionLabel;
    Label *m_version;
    Label *m_releaseLabel;
    Label *m_release;
    PushButton *m_website;
    PushButton *m_contact;
    PushButton *m_help;
    WrappingLabel *m_licences;
    WrappingLabel *m_licenceText;
    PushButton *m_libraries;
};

} // namespace quorvalent
