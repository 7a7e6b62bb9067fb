#include "ui/desktop/FolderChooser.h"

#include "i18n/Localization.h"
#include "ui/desktop/FolderPortal.h"

#include <QAbstractItemView>
#include <QCoreApplication>
#include <QDBusConnection>
#include <QDir>
#include <QFile>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QLabel>
#include <QLibraryInfo>
#include <QLocale>
#include <QPointer>
#include <QStandardPaths>
#include <QTranslator>

#include <memory>

namespace quorvalent {

namespace {

using namespace Qt::StringLiterals;

using Chosen = std::function<void(const std::vector<std::filesystem::path> &)>;

// Qt's own texts of the dialog ("Look in:") in the language shown, where Qt has them. A translator leaves the
// application by itself when it is destroyed.
std::unique_ptr<QTranslator> installedQtTexts()
{
    auto texts = std::make_unique<QTranslator>();
    if (texts->load(QLocale(Localization::code()), u"qtbase"_s, u"_"_s,
                    QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
        QCoreApplication::installTranslator(texts.get());
    return texts;
}

// The portal has the sentence in its title bar; here there is room for it.
void addExplanation(QFileDialog &dialog)
{
    auto *grid = qobject_cast<QGridLayout *>(dialog.layout());
    if (grid == nullptr)
        return;
    auto *explanation =
        new QLabel(L(u"Les changements d’extension dans ces dossiers déclencheront une conversion."_s));
    explanation->setTextFormat(Qt::PlainText);
    explanation->setWordWrap(true);
    grid->addWidget(explanation, grid->rowCount(), 0, 1, grid->columnCount());
}

// Most people's first folder is in their pictures.
QString firstPlace()
{
    const QString pictures = QStandardPaths::writableLocation(QStandardPaths::PicturesLocation);
    return QFileInfo(pictures).isDir() ? pictures : QDir::homePath();
}

// Qt's own dialog can take several folders, though it has no mode for it.
void askWithDialog(QWidget *window, const Chosen &chosen)
{
    auto texts = installedQtTexts();
    auto *dialog = new QFileDialog(window, L(u"Ajouter un dossier"_s), firstPlace());
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    addExplanation(*dialog);
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
    texts.release()->setParent(dialog);
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
