#include "ui/SettingsWindow.h"

#include "model/AppModel.h"
#include "ui/Metrics.h"
#include "ui/Screens.h"
#include "ui/icons/AppIcon.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <QScreen>
#include <QWindow>

namespace quorvalent {

using namespace Qt::StringLiterals;

SettingsWindow::SettingsWindow(AppModel &model, SettingsView::Services services)
    : QWidget(nullptr, Qt::Window)
    , m_model(model)
    , m_view(new SettingsView(model, std::move(services), this))
{
    setWindowTitle(u"Quorvalent"_s);
    setWindowIcon(appIcon());
    setAttribute(Qt::WA_QuitOnClose, false);
    setMinimumSize(metrics::settingsLeast);
    resize(metrics::settingsSize);
    for (const QScreen *screen : QGuiApplication::screens())
        watchScreen(screen);
    connect(qApp, &QGuiApplication::screenAdded, this, &SettingsWindow::watchScreen);
    connect(qApp, &QGuiApplication::screenRemoved, this, &SettingsWindow::keepInside, Qt::QueuedConnection);
}

SettingsWindow::~SettingsWindow()
{
    if (isVisible())
        rememberPlace();
}

void SettingsWindow::watchScreen(const QScreen *screen)
{
    // Queued: a screen announces its changes one by one, and Qt moves windows of a screen that goes.
    connect(screen, &QScreen::availableGeometryChanged, this, &SettingsWindow::keepInside,
            Qt::QueuedConnection);
}

void SettingsWindow::bringUp()
{
    setWindowState(windowState() & ~Qt::WindowMinimized);
    if (isVisible())
        keepInside();
    else
        place();
    show();
    raise();
    activateWindow();
}

// A hidden window has no frame yet, so its place is computed from the one that it is going to get.
void SettingsWindow::place()
{
    const std::optional<QRect> remembered = m_model.settingsPlace();
    const QScreen *screen = remembered ? Screens::at(remembered->center()) : Screens::underPointer();
    if (screen == nullptr || windowState() != Qt::WindowNoState)
        return;
    const QRect area = Screens::visibleArea(*screen);
    winId(); // makes the window, which the question is about
    const QMargins frame = Screens::frameOf(*windowHandle(), *screen);
    QRect wanted = remembered.value_or(QRect(QPoint(), metrics::settingsSize)).marginsAdded(frame);
    if (remembered)
        wanted.moveTopLeft(remembered->topLeft());
    else
        wanted.moveCenter(area.center());
    const QRect placed = Screens::inside(wanted, area);
    resize(placed.marginsRemoved(frame).size());
    move(placed.topLeft());
}

void SettingsWindow::keepInside()
{
    constexpr Qt::WindowStates managed = Qt::WindowMinimized | Qt::WindowMaximized | Qt::WindowFullScreen;
    const QScreen *screen = Screens::at(frameGeometry().center());
    if (!isVisible() || screen == nullptr || (windowState() & managed) != 0)
        return;
    const QRect frame = frameGeometry();
    const QRect placed = Screens::inside(frame, Screens::visibleArea(*screen));
    if (placed == frame)
        return;
    resize(size() - (frame.size() - placed.size()));
    move(placed.topLeft());
}

void SettingsWindow::rememberPlace()
{
    // Of a maximized window, the size that it goes back to.
    const QRect place = windowState() == Qt::WindowNoState ? QRect(pos(), size()) : normalGeometry();
    if (place.isValid())
        m_model.setSettingsPlace(place);
}

void SettingsWindow::resizeEvent(QResizeEvent *event)
{
    QWidget::resizeEvent(event);
    m_view->resize(size());
}

void SettingsWindow::hideEvent(QHideEvent *event)
{
    QWidget::hideEvent(event);
    rememberPlace();
}

void SettingsWindow::keyPressEvent(QKeyEvent *event)
{
    if (event->matches(QKeySequence::Close))
        close();
    else
        QWidget::keyPressEvent(event);
}

} // namespace quorvalent
