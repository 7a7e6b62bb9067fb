#include "ui/SettingsWindow.h"

#include "ui/Metrics.h"
#include "ui/Screens.h"
#include "ui/icons/AppIcon.h"

#include <QKeyEvent>
#include <QScreen>

namespace quorvalent {

using namespace Qt::StringLiterals;

SettingsWindow::SettingsWindow(AppModel &model, SettingsView::Services services)
    : QWidget(nullptr, Qt::Window | Qt::WindowTitleHint | Qt::WindowSystemMenuHint |
                           Qt::WindowCloseButtonHint | Qt::WindowMinimizeButtonHint)
    , m_view(new SettingsView(model, std::move(services), this))
{
    setWindowTitle(u"Quorvalent"_s);
    setWindowIcon(appIcon());
    setAttribute(Qt::WA_QuitOnClose, false);
    setFixedSize(metrics::settingsSize);
}

void SettingsWindow::bringUp()
{
    if (!isVisible()) {
        if (const QScreen *screen = Screens::underPointer()) {
            const QRect area = Screens::visibleArea(*screen);
            move(area.center() - QPoint(width() / 2, height() / 2));
        }
    }
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void SettingsWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Close))
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quorvalent
