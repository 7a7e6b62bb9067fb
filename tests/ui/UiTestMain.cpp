#include "ui/Accessibility.h"
#include "ui/Style.h"
#include "ui/Theme.h"

#include <QApplication>

#include <gtest/gtest.h>

// Widgets need an application with windows; these need no display.
int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    quorvalent::describeToAssistiveTechnology();
    QApplication::setStyle(new quorvalent::Style);
    QApplication::setPalette(quorvalent::Theme::light().palette());
    return RUN_ALL_TESTS();
}
