#include "convert/RenameProtection.h"

#include "convert/ConversionWorld.h"

#include <gmock/gmock.h>

namespace quorvalent {
namespace {

using test::ConversionWorld;
using test::Step;
namespace fs = std::filesystem;

struct RefusalCase
{
    std::string title;
    std::function<void(ConversionWorld &)> before;
    const char *outcome; ///< what follows the refusal
    std::vector<std::string> contents;
};
void PrintTo(const RefusalCase &row, std::ostream *out)
{
    *out << row.title;
}

class RefusedRename : public testing::TestWithParam<RefusalCase>
{};

TEST_P(RefusedRename, isUndoneOrExplained)
{
    ConversionWorld world;
    const RenameJob job = world.renamed("%1 a.pdf", "%1 a.jpg");
    GetParam().before(world);

    EXPECT_EQ(world.convert(job),
              std::string("Le format .pdf n’est pas pris en charge par Quorvalent.") + GetParam().outcome);
    EXPECT_EQ(world.contents(), GetParam().contents);
    EXPECT_TRUE(world.enginesRun.empty());
    EXPECT_THROW(ConversionDriver(world.files, world.engines).convert(job, {}, [](std::optional<double>) {}),
                 UnsupportedRenameError);
}

constexpr char gone[] = " Le fichier a changé ou a été déplacé ; son nom n’a pas été rétabli. Vérifiez-le "
                        "dans le Finder.";
constexpr char occupied[] = " Le nom d’origine est déjà occupé. Aucun fichier écrasé : « %1 a.jpg » reste "
                            "inchangé. Rétablissez son extension manuellement.";
constexpr char refused[] = " Impossible de rétablir le nom d’origine. Le fichier « %1 a.jpg » n’a pas été "
                           "converti. Vérifiez son extension et les autorisations du dossier.";

INSTANTIATE_TEST_SUITE_P(
    Each, RefusedRename,
    testing::Values(
        RefusalCase{"restored",
                    [](ConversionWorld &) {},
                    " Nom d’origine rétabli : « %1 a.pdf ». Le contenu n’a pas été modifié.",
                    {"%1 a.pdf=original"}},
        RefusalCase{"edited",
                    [](ConversionWorld &world) { world.folder.write("%1 a.jpg", "edited by another"); },
                    gone,
                    {"%1 a.jpg=edited by another"}},
        RefusalCase{
            "removed", [](ConversionWorld &world) { fs::remove(world.folder / "%1 a.jpg"); }, gone, {}},
        RefusalCase{"oldNameTaken",
                    [](ConversionWorld &world) { fs::create_directory(world.folder / "%1 a.pdf"); },
                    occupied,
                    {"%1 a.jpg=original", "%1 a.pdf/"}},
        RefusalCase{"oldNameTakenInTheLastMoment",
                    [](ConversionWorld &world) {
                        world.files.before = [&world](Step step, int) {
                            if (step == Step::Move)
                                world.folder.write("%1 a.pdf", "other");
                        };
                    },
                    refused,
                    {"%1 a.jpg=original", "%1 a.pdf=other"}}),
    [](const auto &row) { return row.param.title; });

} // namespace
} // namespace quorvalent
