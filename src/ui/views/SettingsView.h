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
/// is built when it is first shown. Both scroll where the window is too small for them.
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
    void resizeEvent(QResizeEvent *event) override;
    void keyPressEvent(QKeyEvent *event) override;

private:
    [[nodiscard]] QWidget *makeSidebar();
    [[nodiscard]] QWidget *makeContent();
    [[nodiscard]] Section *makeSection(int index);
    void showSection(int index);
    /// Beside a narrow window's content the sidebar shows its symbols only.
    void setNarrow(bool narrow);

    AppModel &m_model;
    Services m_services;
    ScrollArea *m_sidebar = nullptr;
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
    bool m_isNarrow = false;
};

} // namespace quorvalent
