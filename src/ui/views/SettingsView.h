#pragma once

#include "ui/views/FoldersSection.h"

#include <QList>
#include <QWidget>

namespace quorvalent {

class AppModel;
class Brand;
class Label;
class ScrollArea;
class Section;
class SidebarButton;
class UpdateManager;
class WrappingLabel;

/// The content of the settings window: a sidebar with the sections, and the chosen one beside it. A section
/// is built when it is first shown.
class SettingsView : public QWidget
{
    Q_OBJECT

public:
    struct Services
    {
        UpdateManager &updater;
        ChooseFolders chooseFolders;
        std::function<bool()> hasStatusArea; ///< the desktop shows status items
    };

    SettingsView(AppModel &model, Services services, QWidget *parent = nullptr);

    void refresh();

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    [[nodiscard]] QWidget *makeSidebar();
    [[nodiscard]] QWidget *makeContent();
    [[nodiscard]] Section *makeSection(int index);
    void showSection(int index);

    AppModel &m_model;
    Services m_services;
    Brand *m_brand = nullptr;
    QWidget *m_choices = nullptr; ///< the sidebar's buttons
    QList<SidebarButton *> m_buttons;
    WrappingLabel *m_noStatusArea = nullptr;
    Label *m_version = nullptr;
    ScrollArea *m_scroll = nullptr;
    WrappingLabel *m_title = nullptr;
    WrappingLabel *m_subtitle = nullptr;
    QWidget *m_page = nullptr;
    QList<Section *> m_sections; ///< in the order of the sidebar, null until first shown
    int m_shown = -1;
};

} // namespace quorvalent
