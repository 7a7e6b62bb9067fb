#include "convert/ConversionWorld.h"
#include "core/ConversionError.h"
#include "platform/FileDescriptor.h"

#include <gtest/gtest.h>

#include <fcntl.h>

namespace quorvalent {
namespace {

using test::ConversionWorld;

TEST(RenameProtectionTest, givesTheOldNameBackOrSaysWhyNot)
{
    const std::string reason = "Le format .pdf n’est pas pris en charge par Quorvalent. ";
    const std::string restored = "Nom d’origine rétabli : « %1.pdf ». Le contenu n’a pas été modifié.";
    const std::string changed = "Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. "
                                "Vérifiez-le dans le Finder.";
    const std::string taken = "Le nom d’origine est déjà occupé. Aucun fichier écrasé : « %1.jpg » reste "
                              "inchangé. Rétablissez son extension manuellement.";
    const std::string refused = "Impossible de rétablir le nom d’origine. Le fichier « %1.jpg » n’a pas été "
                                "converti. Vérifiez son extension et les autorisations du dossier.";
    const std::string used = "Un programme utilise le fichier ; son nom n’a pas été rétabli.";
    FileDescriptor reader;
    const auto open = [&](ConversionWorld &world) {
        reader = FileDescriptor(::open((world.folder / "%1.jpg").c_str(), O_RDONLY | O_CLOEXEC));
    };
    const auto edit = [](ConversionWorld &world) { world.folder.write("%1.jpg", "edit"); };
    const auto removal = [](ConversionWorld &world) { std::filesystem::remove(world.folder / "%1.jpg"); };
    const auto take = [](ConversionWorld &world) { world.folder.write("%1.pdf", "other"); };
    const auto takeAtTheMove = [&](ConversionWorld &world) {
        world.files.before = [&](test::Step, int) { take(world); };
    };
    struct Row
    {
        std::function<void(ConversionWorld &)> act;
        std::string outcome, contents;
    };
    for (const Row &row :
         {Row{[](auto &) {}, restored, "%1.pdf=old"}, Row{edit, changed, "%1.jpg=edit"},
          Row{removal, changed, ""}, Row{take, taken, "%1.jpg=old, %1.pdf=other"},
          Row{open, used, "%1.jpg=old"}, Row{takeAtTheMove, refused, "%1.jpg=old, %1.pdf=other"}}) {
        SCOPED_TRACE(row.outcome);
        ConversionWorld world;
        const RenameJob job = world.renamed("%1.pdf", "%1.jpg");
        row.act(world);
        try {
            ConversionDriver(world.files, world.engines).convert(job, {});
            ADD_FAILURE() << "not refused";
        } catch (const UnsupportedRenameError &refusal) {
            EXPECT_EQ(refusal.what(), reason + row.outcome);
        }
        EXPECT_EQ(world.contents(), row.contents);
    }
}

} // namespace
} // namespace quorvalent
