#include "core/FileStamp.h"
#include "core/ConversionError.h"

#include "support/TestFolder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <array>

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

void setModified(const fs::path &path, timespec time)
{
    const std::array<timespec, 2> times = {timespec{0, UTIME_OMIT}, time};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times.data(), 0), 0);
}

class FileStampTest : public testing::Test
{
protected:
    TestFolder m_folder;
    fs::path m_photo = m_folder.write("photo.png", "12345");
};

TEST_F(FileStampTest, tellsIdentitySizeAndTimeToTheNanosecond)
{
    setModified(m_photo, {1'700'000'000, 123'456'789});
    struct stat status = {};
    ASSERT_EQ(::stat(m_photo.c_str(), &status), 0);

    const FileStamp stamp = FileStamp::read(m_photo);

    EXPECT_EQ(stamp.size, 5U);
    EXPECT_EQ(stamp.modified.time_since_epoch(), 1'700'000'000s + 123'456'789ns);
    EXPECT_TRUE(stamp.identity.endsWith(QLatin1Char('-') + QString::number(status.st_ino)));
    EXPECT_EQ(stamp.identity.count(QLatin1Char('-')), 1);
}

TEST_F(FileStampTest, survivesARenameButNoChangeOfContent)
{
    const FileStamp before = FileStamp::read(m_photo);
    const fs::path renamed = m_folder / "photo.jpg";
    fs::rename(m_photo, renamed);
    EXPECT_EQ(FileStamp::read(renamed), before);

    m_folder.write("photo.jpg", "54321");
    setModified(renamed, {1'700'000'000, 0});
    EXPECT_NE(FileStamp::read(renamed), before) << "same size, other time";
    EXPECT_EQ(FileStamp::read(renamed).identity, before.identity);
}

TEST_F(FileStampTest, knowsACopyFromItsOriginal)
{
    fs::copy_file(m_photo, m_folder / "copy.png");
    EXPECT_NE(FileStamp::read(m_folder / "copy.png").identity, FileStamp::read(m_photo).identity);

    fs::create_hard_link(m_photo, m_folder / "link.png");
    EXPECT_EQ(FileStamp::read(m_folder / "link.png"), FileStamp::read(m_photo));
}

TEST_F(FileStampTest, refusesWhatIsNoRegularFileAndReportsAMissingOneAsTheSystemDoes)
{
    fs::create_symlink(m_photo, m_folder / "link");
    fs::create_directory(m_folder / "folder");
    ASSERT_EQ(::mkfifo((m_folder / "pipe").c_str(), 0600), 0);
    for (const char *name : {"link", "folder", "pipe"}) {
        try {
            (void)FileStamp::read(m_folder / name);
            ADD_FAILURE() << name << " was accepted";
        } catch (const ConversionError &error) {
            EXPECT_EQ(error.errorDescription(), QStringLiteral("Ce fichier n’est pas un fichier ordinaire."));
        }
    }
    EXPECT_THROW((void)FileStamp::read(m_folder / "missing"), FileError);
}

} // namespace

} // namespace quorvalent::test
