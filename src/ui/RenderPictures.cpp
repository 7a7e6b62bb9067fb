#include "ui/RenderPictures.h"

#include "core/RenamePolicy.h"
#include "i18n/Localization.h"
#include "model/AppModel.h"
#include "model/DesktopServices.h"
#include "platform/ComposedText.h"
#include "ui/FloatingCard.h"
#include "ui/Metrics.h"
#include "ui/Style.h"
#include "ui/Theme.h"
#include "ui/TypeScale.h"
#include "ui/UpdateWindow.h"
#include "ui/views/CompactBanner.h"
#include "ui/views/MenuView.h"
#include "ui/views/ProtectionWarning.h"
#include "ui/views/SettingsView.h"
#include "update/UpdateManager.h"

#include <QApplication>
#include <QFile>
#include <QImage>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>

#include <algorithm>
#include <functional>

namespace quorvalent::RenderPictures {

using namespace Qt::StringLiterals;

namespace {

// The pictures of the usual scale lie in the folder itself. Those of the others lie below it, where such
// folders were made for them: one picture alone is of the usual scale.
struct Scale
{
    double ratio;
    const char *folder;
};
constexpr std::array scales{Scale{2, ""}, Scale{1.5, "150"}, Scale{1, "100"}};

// What a panel and a title bar leave of a small screen, at 100 % and at 200 %.
constexpr std::array smallWindows{std::pair{QSize(796, 540), "-800x600"},
                                  std::pair{QSize(396, 256), "-400x300"}};

struct Look
{
    QString suffix;
    const Theme &theme;
};

// A preview touches nothing, and these services do nothing.
ModelServices noServices()
{
    return {.pacing = {},
            .convert = [](const RenameJob &, const Preferences &,
                          const ConversionRun &) { return ConversionReport(); },
            .isInPlace = [](const RenameJob &) { return true; },
            .makeWatcher = [](const JobSourceHandlers &) -> std::unique_ptr<JobSource> { return nullptr; },
            .observePresence = [](const auto &...) { return nullptr; },
            .expireOriginals = [](std::optional<std::chrono::minutes>) { return std::nullopt; },
            .stopConversions = [] {},
            .expect = [](const RenameJob &) {},
            .machine = [] { return Machine(); },
            .refuse = [](const RenameJob &, const Error &) {},
            .inBackground = [](const Task &) {},
            .later = [](std::chrono::milliseconds, const Task &) {}};
}

class PreviewModel : public AppModel
{
public:
    PreviewModel()
        : AppModel(noServices(), noDesktop(), Mode::Preview)
    {}
};

bool save(QWidget &widget, const std::filesystem::path &file,
          QWidget::RenderFlags flags = QWidget::DrawChildren)
{
    bool saved = true;
    for (const Scale &scale : scales) {
        const std::filesystem::path folder = file.parent_path() / scale.folder;
        if (scale.folder[0] != 0 && !std::filesystem::is_directory(folder))
            continue;
        QImage picture((QSizeF(widget.size()) * scale.ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
        picture.setDevicePixelRatio(scale.ratio);
        picture.fill(Qt::transparent);
        widget.render(&picture, QPoint(), QRegion(), flags);
        saved = picture.save(QString::fromStdString((folder / file.filename()).string()), "PNG") && saved;
    }
    return saved;
}

ConversionStatus converting(std::optional<double> progress)
{
    ConversionStatus sample;
    sample.isConverting = true;
    sample.progress = progress;
    sample.currentName = u"Vacances-sur-la-côte.mp4"_s;
    sample.currentDetail = u"MOV → MP4"_s;
    return sample;
}

ConversionStatus finished(std::optional<double> progress)
{
    ConversionStatus sample = converting(progress);
    sample.isConverting = false;
    return sample;
}

ConversionStatus inBatch(ConversionStatus sample, int over)
{
    sample.batch = Batch{.total = 300, .over = over, .succeeded = over};
    return sample;
}

QString refusal()
{
    const QString reason = RenameProtection::rejectionReason(u"mp3"_s, u"mkv"_s).value_or(QString());
    return composed(u"{0} Nom d’origine rétabli : « {1} ». Le contenu n’a pas été modifié."_s,
                    {reason, u"musique.mp3"_s});
}

ConversionStatus refused(int count)
{
    ConversionStatus sample;
    sample.warningTitle = u"Format non pris en charge"_s;
    sample.warningMessage = refusal();
    sample.warningCount = count;
    for (int file = 0; file < std::min(count, 5); ++file)
        sample.warnedFiles.append({u"musique.mkv"_s,
                                   u"/home/camille/Images/2026/"_s + QString::number(file + 1),
                                   sample.warningMessage});
    return sample;
}

Activity activity(const QString &name, const QString &detail, ActivityState state,
                  const QStringList &remarks = {})
{
    const bool success = state == ActivityState::Succeeded || state == ActivityState::SucceededWithRemark;
    Activity sample(name, detail, success);
    sample.folder = u"/home/camille/Images"_s;
    sample.remarks = remarks;
    sample.isCancelled = state == ActivityState::Cancelled;
    return sample;
}

ConversionStatus withActivities()
{
    using enum ActivityState;
    const QString kept = u"Terminé · original conservé"_s;
    ConversionStatus sample;
    sample.activities = {
        activity(u"photo.jpg"_s, u"Conversion terminée"_s, Succeeded),
        activity(u"musique.mkv"_s, refusal(), Failed),
        activity(u"concert.mp4"_s, kept, SucceededWithRemark,
                 {composed(u"L’original reste à côté du résultat, sous « {0} »."_s, {u"concert.mkv"_s})}),
        activity(u"Un très long nom de fichier rapporté de vacances au bord de la mer, été 2026.webp"_s, kept,
                 Succeeded),
        activity(u"interview.m4a"_s,
                 composed(u"{0} Extension d’origine rétablie."_s, {u"Espace disque insuffisant."_s}), Failed),
        activity(u"plage.jpg"_s, u"Conversion interrompue"_s, Failed,
                 {composed(u"La conversion de « {0} » a été interrompue. Original intact : {1}"_s,
                           {u"plage.jpg"_s, u"/home/camille/Images/plage.png"_s})}),
    };
    return sample;
}

ConversionStatus finishedWithOriginal()
{
    ConversionStatus sample = finished(1.0);
    sample.isOriginalLeft = true;
    return sample;
}

bool saveBanner(AppModel &model, const ConversionStatus &state, const std::filesystem::path &file)
{
    model.showSample(state);
    FloatingCard card(FloatingCard::Kind::Notice, new CompactBanner(model), metrics::bannerRadius);
    card.fit();
    return save(card, file);
}

bool saveWarning(AppModel &model, const ConversionStatus &state, const std::filesystem::path &file)
{
    model.showSample(state);
    FloatingCard card(FloatingCard::Kind::Warning,
                      new ProtectionWarning(model, {.dismiss = [] {}, .details = [] {}}),
                      metrics::warningRadius);
    card.fit();
    return save(card, file);
}

bool saveMenu(AppModel &model, const ConversionStatus &state, const std::filesystem::path &file)
{
    model.showSample(state);
    FloatingCard card(
        FloatingCard::Kind::Popover,
        new MenuView(model,
                     {.settings = [] {}, .quit = [] {}, .dismissWarning = [] {}, .warningDetails = [] {}}),
        metrics::popoverRadius);
    card.fit();
    return save(card, file);
}

/// A section, and a second picture of its end where it is longer than the window.
bool saveSection(AppModel &model, const QString &section, const std::filesystem::path &folder,
                 const QString &name, const QString &suffix)
{
    model.setSelectedTab(section);
    UpdateManager updater(model, nullptr);
    SettingsView view(model, {updater, [](QWidget &, const auto &) {}, [] { return true; }});
    const auto file = [&](const QString &part) {
        return folder / QFile::encodeName(u"settings-"_s + name + part + suffix + u".png"_s).toStdString();
    };
    view.setAttribute(Qt::WA_DontShowOnScreen); // shown, it is laid out anew at each size
    view.show();
    QCoreApplication::processEvents();
    bool saved = save(view, file({}));
    QScrollBar *bar = view.findChildren<QScrollArea *>().last()->verticalScrollBar(); // the content's
    if (bar->maximum() > 0) {
        bar->setValue(bar->maximum());
        saved = save(view, file(u"-end"_s)) && saved;
        bar->setValue(0);
    }
    for (const auto &[size, part] : smallWindows) {
        view.resize(size);
        QCoreApplication::processEvents();
        saved = save(view, file(QString::fromLatin1(part))) && saved;
    }
    return saved;
}

UpdateRelease sampleRelease()
{
    UpdateRelease release;
    release.version = QVersionNumber(1, 4);
    release.lengthBytes = 28'413'952;
    release.notes.insert(u"en"_s, u"• Pictures are ready sooner.\n• Folders can be sorted."_s);
    return release;
}

/// The window of an update at each of its steps.
bool saveUpdates(AppModel &model, const std::filesystem::path &folder, const QString &suffix)
{
    UpdateWindow window(model);
    const UpdateRelease release = sampleRelease();
    const auto nothing = [](auto...) {};
    const std::pair<const char *, std::function<void()>> steps[] = {
        {"checking", [&] { window.showChecking(nothing); }},
        {"found", [&] { window.showFound(release, u"1.3"_s, nothing); }},
        {"download", [&] { window.showDownload(release.lengthBytes / 3, release.lengthBytes, nothing); }},
        {"preparation", [&] { window.showPreparation(nothing); }},
        {"ready", [&] { window.showReady(release, nothing); }},
        {"waiting", [&] { window.showWaiting(nothing); }},
        {"restarting", [&] { window.showRestarting(); }},
        {"current", [&] { window.showUpToDate(u"1.4"_s); }},
        {"failure", [&] { window.showFailure(u"Le serveur de mises à jour est injoignable."_s); }}};
    bool saved = true;
    for (const auto &[name, show] : steps) {
        show();
        const std::string file = "update-" + std::string(name) + suffix.toStdString() + ".png";
        saved = save(window.window(), folder / file, QWidget::DrawWindowBackground | QWidget::DrawChildren) &&
                saved;
    }
    return saved;
}

bool saveAll(const std::filesystem::path &folder, const Look &look)
{
    QApplication::setPalette(look.theme.palette());
    PreviewModel model;
    const auto file = [&](const char *name) { return folder / (name + look.suffix.toStdString() + ".png"); };
    bool saved = saveMenu(model, {}, file("menu-no-folder"));
    model.changePreferences([](Preferences &preferences) {
        preferences.folders = {"/home/camille/Images",
                               "/home/camille/Vidéos/Vacances au bord de la mer 2026/À trier"};
    });
    saved = saveMenu(model, {}, file("menu-idle")) && saved;
    saved = saveMenu(model, withActivities(), file("menu-activity")) && saved;
    saved = saveMenu(model, converting(0.42), file("menu-converting")) && saved;
    saved = saveMenu(model, converting({}), file("menu-converting-unknown")) && saved;
    model.setPaused(true);
    saved = saveMenu(model, {}, file("menu-paused")) && saved;
    model.setPaused(false);
    saved = saveBanner(model, converting(0.42), file("banner-converting")) && saved;
    saved = saveBanner(model, converting({}), file("banner-converting-unknown")) && saved;
    saved = saveBanner(model, inBatch(converting(0.42), 11), file("banner-batch")) && saved;
    saved = saveBanner(model, finished(1.0), file("banner-succeeded")) && saved;
    saved = saveBanner(model, inBatch(finished(1.0), 300), file("banner-batch-succeeded")) && saved;
    saved = saveBanner(model, finishedWithOriginal(), file("banner-original")) && saved;
    saved = saveBanner(model, finished({}), file("banner-interrupted")) && saved;
    saved = saveWarning(model, refused(1), file("warning-1")) && saved;
    saved = saveWarning(model, refused(3), file("warning-3")) && saved;
    saved = saveWarning(model, refused(14), file("warning-14")) && saved;

    const std::array<std::pair<QString, QString>, 8> sections{{{u"Général"_s, u"general"_s},
                                                               {u"Dossiers"_s, u"folders"_s},
                                                               {u"Photos"_s, u"photos"_s},
                                                               {u"Audio"_s, u"audio"_s},
                                                               {u"Vidéo"_s, u"video"_s},
                                                               {u"Activité"_s, u"activity"_s},
                                                               {u"À propos de"_s, u"about"_s},
                                                               {u"Mises à jour"_s, u"updates"_s}}};
    model.showSample(withActivities());
    for (const auto &[section, name] : sections)
        saved = saveSection(model, section, folder, name, look.suffix) && saved;
    saved = saveUpdates(model, folder, look.suffix) && saved;
    model.showSample({});
    model.changePreferences([](Preferences &preferences) { preferences.folders.clear(); });
    saved = saveSection(model, u"Dossiers"_s, folder, u"folders-empty"_s, look.suffix) && saved;
    saved = saveSection(model, u"Activité"_s, folder, u"activity-empty"_s, look.suffix) && saved;
    return saved;
}

void prepare()
{
    auto *style = new Style;
    style->setReducedMotion(true); // nothing is caught in the middle of a movement
    QApplication::setStyle(style);
    QApplication::setFont(applicationFont(QApplication::font(), Localization::code()));
}

} // namespace

bool banner(const std::filesystem::path &file)
{
    prepare();
    PreviewModel model;
    return saveBanner(model, converting(0.42), file);
}

bool warning(const std::filesystem::path &file)
{
    prepare();
    PreviewModel model;
    return saveWarning(model, refused(1), file);
}

bool everything(const std::filesystem::path &folder)
{
    prepare();
    std::error_code failed;
    for (const Scale &scale : scales) {
        std::filesystem::create_directories(folder / scale.folder, failed);
        if (failed)
            return false;
    }
    const bool light = saveAll(folder, {u"-light"_s, Theme::light()});
    return saveAll(folder, {u"-dark"_s, Theme::dark()}) && light;
}

} // namespace quorvalent::RenderPictures
