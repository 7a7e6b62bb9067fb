#include "core/SetAsideNames.h"

#include <gtest/gtest.h>

namespace quorvalent {

namespace {

TEST(SetAsideNames, areWhatProgramsGiveInBothDirections)
{
    for (const auto &[name, other] : {
             std::pair("scan.png", "scan.png.orig"),
             {"scan.png", "scan.png.old"},
             {"scan.png", "scan.png.bak"},
             {"scan.png", "scan.png.wtWLUc"},
             {"scan.png", "scan.png.1"},
             {"photo.jpg", "photo.jpg_original"},
             {"photo.jpg", "photo.jpg_exiftool_tmp"},
             {"photo.jpg", "photo.jpg~"},
             {"photo.jpg", "photo.jpg.~12~"},
             {"film.mp4", "film.mp4.crdownload"},
             {"film.mp4", "Unconfirmed 123.TMP"},
             {"film.mp4", "film.part"},
             {"film.mp4", "another.mp4.!qB"},
             {"photo.png", "photo.bak2"},
         }) {
        EXPECT_TRUE(setsAsideOrBack(name, other)) << name << " > " << other;
        EXPECT_TRUE(setsAsideOrBack(other, name)) << other << " > " << name;
    }
}

TEST(SetAsideNames, areNotThoseOfAPersonsRename)
{
    for (const auto &[name, other] : {
             std::pair("photo.jpg", "photo.jpg.txt"),
             {"photo.png", "photo.pdf"},
             {"notes.txt", "notes.png"},
             {"photo.png", "photo.jpg"},
             {"scan.png", "scan.png.jpg"},
             {"photo", "photo.png"},
             {"photo.png", "photo.bak"},
             {"photo.png", "photo.png2.jpg"},
             {"party.png", "part.jpg"},
         }) {
        EXPECT_FALSE(setsAsideOrBack(name, other)) << name << " > " << other;
        EXPECT_FALSE(setsAsideOrBack(other, name)) << other << " > " << name;
    }
}

} // namespace

} // namespace quorvalent
