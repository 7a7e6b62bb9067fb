// The menu-bar program, and somebody in front of it who presses the buttons of an update as soon as they are
// there. The last argument is a file: the update is installed once that exists. Each step is told on standard
// output. This somebody is in this program alone; the one that is shipped has no such entrance.

#include "app/MenuBarProgram.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QTimer>

#include <cstdio>
#include <string>

namespace {

using namespace Qt::StringLiterals;

template <typename Part>
Part *visiblePart(const QString &text)
{
    for (const QWidget *window : QApplication::topLevelWidgets()) {
        for (Part *part : window->findChildren<Part *>()) {
            if (part->isVisible() && part->text() == text)
                return part;
        }
    }
    return nullptr;
}

void tell(const char *step)
{
    static std::string last;
    if (last == step)
        return;
    last = step;
    std::puts(step);
    std::fflush(stdout);
}

void look()
{
    if (auto *install = visiblePart<QPushButton>(u"Installer"_s)) {
        tell("found");
        install->click();
    } else if (auto *restart = visiblePart<QPushButton>(u"Installer et redémarrer"_s)) {
        tell("ready");
        if (QFile::exists(QCoreApplication::arguments().last()))
            restart->click();
    } else if (visiblePart<QLabel>(
                   u"La mise à jour sera installée dès que les conversions seront terminées."_s) != nullptr) {
        tell("waiting");
    }
}

void sitDown()
{
    auto *clock = new QTimer(qApp);
    QObject::connect(clock, &QTimer::timeout, &look);
    clock->start(std::chrono::milliseconds(20));
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(sitDown)

int main(int argc, char **argv)
{
    return quorvalent::runMenuBarProgram(argc, argv);
}
