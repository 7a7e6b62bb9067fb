#include "ui/desktop/FolderChooser.h"

#include "i18n/Localization.h"
#include "ui/desktop/FolderPortal.h"

#include <QAbstractItemView>
#include <QDBusConnection>
#include <QFile>
#include <QFileDialog>
#include <QPointer>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

using Chosen = std::function<void(const std::vector<std::filesystem::path> &)>;

// Qt's own dialog can take several folders, though it has no mode for it.
void askWithDialog(QWidget *window, const Chosen &chosen)
{
    auto *dialog = new QFileDialog(window, L(u"Ajouter un dossier"_s));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::Directory);
    dialog->setOption(QFileDialog::ShowDirsOnly);
    dialog->setOption(QFileDialog::DontUseNativeDialog);
    dialog->setLabelText(QFileDialog::Accept, L(u"Ajouter"_s));
    dialog->setLabelText(QFileDialog::Reject, L(u"Annuler"_s));
    for (const QString &name : {u"listView"_s, u"treeView"_s}) {
        if (auto *view = dialog->findChild<QAbstractItemView *>(name))
            view->setSelectionMode(QAbstractItemView::ExtendedSelection);
    }
    QObject::connect(dialog, &QFileDialog::filesSelected, dialog, [chosen](const QStringList &files) {
        std::vector<std::filesystem::path> folders;
        for (const QString &file : files)
            folders.emplace_back(QFile::encodeName(file).toStdString());
        chosen(folders);
    });
    dialog->open();
}

} // namespace

ChooseFolders desktopFolderChooser()
{
    return [](QWidget &asking, const Chosen &chosen) {
        QWidget *window = asking.window();
        if (!QDBusConnection::sessionBus().isConnected()) {
            askWithDialog(window, chosen);
            return;
        }
        // Belongs to the window and deletes itself.
        new FolderPortal(*window, {.chosen = chosen, .unavailable = [window = QPointer(window), chosen] {
                                       if (window)
                                           askWithDialog(window, chosen);
                                   }});
    };
}

} // namespace quorvalent
