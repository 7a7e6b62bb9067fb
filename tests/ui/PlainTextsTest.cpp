#include "model/AppModel.h"
#include "platform/FileDescriptor.h"
#include "support/FakeWorld.h"
#include "support/TestFolder.h"
#include "ui/UpdateWindow.h"
#include "ui/controls/TextBlock.h"
#include "ui/views/CompactBanner.h"
#include "ui/views/MenuView.h"
#include "ui/views/ProtectionWarning.h"
#include "ui/views/SettingsView.h"
#include "update/UpdateManager.h"

#include <QApplication>
#include <QFile>
#include <QHelpEvent>
#include <QLabel>
#include <QMessageBox>
#include <QRadioButton>
#include <QToolTip>

#include <sys/inotify.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include <array>

namespace quorvalent {
namespace {

using namespace Qt::StringLiterals;

/// A picture that nobody may open, and a text that asks for it.
class Bait
{
public:
    Bait()
        : m_opened(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC))
    {
        const std::filesystem::path file = m_folder.write("bait.png", "P1 1 1 1");
        EXPECT_GE(::inotify_add_watch(m_opened.get(), file.c_str(), IN_OPEN), 0);
        text = u"<img src=\"%1\">photo.jpg"_s.arg(QString::fromStdString(file));
    }

    [[nodiscard]] bool wasTaken() const
    {
        std::array<char, 1024> events{};
        return ::read(m_opened.get(), events.data(), events.size()) > 0;
    }

    QString text;

private:
    test::TestFolder m_folder;
    FileDescriptor m_opened;
};

// Libraries that decode pictures.
qsizetype loadedDecoders()
{
    QFile maps(u"/proc/self/maps"_s);
    EXPECT_TRUE(maps.open(QIODevice::ReadOnly));
    return maps.readAll().count("/imageformats/");
}

// Every widget of the window, narrow enough for names to be cut, with the pointer resting on it.
void hoverOverEverything(QWidget &window)
{
    window.resize(window.minimumWidth(), window.height());
    window.show();
    QList<QWidget *> widgets{&window};
    for (QWidget *widget : window.findChildren<QWidget *>()) {
        if (!widget->inherits("QTipLabel")) // comes and goes
            widgets.append(widget);
    }
    for (QWidget *widget : widgets) {
        if (const auto *label = qobject_cast<QLabel *>(widget)) {
            EXPECT_EQ(label->textFormat(), Qt::PlainText) << label->text().toStdString();
        }
        QHelpEvent event(QEvent::ToolTip, QPoint(), widget->mapToGlobal(QPoint()));
        QCoreApplication::sendEvent(widget, &event);
        QCoreApplication::processEvents();
        const QString shown = QToolTip::text();
        EXPECT_FALSE(Qt::mightBeRichText(shown) && shown.contains(u"<img"_s)) << shown.toStdString();
    }
    window.grab();
}

TEST(PlainTexts, NoWindowReadsANameAsMarkup)
{
    const Bait bait;
    const qsizetype decodersBefore = loadedDecoders();
    test::FakeWorld world;
    AppModel model(world.services(), noDesktop(), AppModel::Mode::Preview);
    UpdateManager updates(model, nullptr);
    model.changePreferences(
        [&](Preferences &preferences) { preferences.folders = {bait.text.toStdString()}; });
    ConversionStatus status;
    status.currentName = status.currentDetail = bait.text;
    status.warningTitle = status.warningMessage = bait.text;
    status.activities = {Activity(bait.text, bait.text, false)};
    status.isConverting = true;
    model.showSample(status);

    CompactBanner banner(model);
    hoverOverEverything(banner);
    EXPECT_TRUE(QToolTip::text().contains(u"&lt;img"_s)) << "the whole name is there to be read";
    ProtectionWarning warning(model, {.dismiss = [] {}, .details = [] {}});
    hoverOverEverything(warning);
    MenuView menu(model,
                  {.settings = [] {}, .quit = [] {}, .dismissWarning = [] {}, .warningDetails = [] {}});
    hoverOverEverything(menu);
    status.isConverting = false;
    model.showSample(status);
    hoverOverEverything(menu);
    SettingsView settings(model, {updates, [](QWidget &, const auto &) {}, [] { return true; }});
    for (QRadioButton *section : settings.findChildren<QRadioButton *>()) {
        section->click();
        hoverOverEverything(settings);
    }
    UpdateWindow update(model);
    UpdateRelease release;
    release.notes = {{u"en"_s, bait.text}, {u"fr"_s, bait.text}};
    update.showFound(release, bait.text, [](auto) {});
    hoverOverEverything(update.window());
    update.showFailure(bait.text);
    hoverOverEverything(update.window());
    QMessageBox ofQt(QMessageBox::Warning, bait.text, bait.text);
    ofQt.show();
    ofQt.grab();

    EXPECT_FALSE(bait.wasTaken());
    EXPECT_EQ(loadedDecoders(), decodersBefore);
}

TEST(PlainTexts, ShowWhatWouldSteerThemAsABox)
{
    const QFont font;
    const auto widthOf = [&font](const QString &text) { return TextBlock(text, font).size().width(); };
    for (const QString &steering : {u"\u202e"_s, u"\u2066"_s, u"\u200f"_s, u"\u009b"_s, u"\u007f"_s, u"\n"_s})
        EXPECT_EQ(widthOf(u"photo"_s + steering + u"gnp.exe"_s), widthOf(u"photo\u25a1gnp.exe"_s));
    EXPECT_EQ(TextBlock(u"a\u2028b"_s, font, 500, 0).lines(), 1);
}

} // namespace
} // namespace quorvalent
