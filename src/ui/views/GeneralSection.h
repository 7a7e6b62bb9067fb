#pragma once

#include "ui/views/Section.h"

namespace quorvalent {

class AppModel;
class Card;
class IconView;
class Label;
class Picker;
class PushButton;
class RowText;
class Toggle;
class WrappingLabel;

/// Language, appearance, the options and what the program is for.
class GeneralSection : public Section
{
    Q_OBJECT

public:
    explicit GeneralSection(AppModel &model, QWidget *parent = nullptr);

    void refresh() override;

private:
    void buildChoices();
    void buildIntroduction();
    void buildOptions();
    void buildFileManager();
    void buildFooter();
    void refreshChoices();
    void refreshUndo();
    void refreshFileManager();

    AppModel &m_model;
    Label *m_languageLabel;
    Picker *m_language;
    Label *m_appearanceLabel;
    Picker *m_appearance;
    WrappingLabel *m_introduction;
    WrappingLabel *m_motto;
    Toggle *m_keepOriginal;
    RowText *m_undo;
    Picker *m_undoSpan;
    PushButton *m_clearOriginals;
    Toggle *m_launchAtLogin;
    WrappingLabel *m_loginNotice;
    Card *m_fileManager;
    Toggle *m_withoutConfirmation;
    WrappingLabel *m_managed;
    WrappingLabel *m_fileManagerMessage;
    WrappingLabel *m_local;
    PushButton *m_help;
    PushButton *m_about;
};

} // namespace quorvalent
