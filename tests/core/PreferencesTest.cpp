#include "core/Preferences.h"

#include "platform/Bundle.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <gtest/gtest.h>

#include <limits>
#include <ostream>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

const QByteArray complete = R"({"keepOriginal":true,"launchAtLogin":false,"folders":["/saved"],)"
                            R"("imageQuality":{"jpg":0.5},"audioBitrate":{"mp3":192},)"
                            R"("videoQuality":{"mp4":2},"ffmpegPath":"/x"})";

TEST(Preferences, startAtBestQualityWithNothingWatched)
{
    const Preferences fresh;

    EXPECT_FALSE(fresh.keepOriginal);
    EXPECT_TRUE(fresh.launchAtLogin);
    EXPECT_TRUE(fresh.folders.empty());
    EXPECT_TRUE(fresh.ffmpegPath.isEmpty());
    EXPECT_EQ(fresh.quality(u"jpg"_s), 1.0);
    EXPECT_EQ(fresh.bitrate(u"mp3"_s), 256);
    EXPECT_EQ(fresh.video(u"mp4"_s), 0);
}

TEST(Preferences, lookFormatsUpExactly)
{
    Preferences preferences;
    preferences.audioBitrate[u"mp3"_s] = 96;
    preferences.imageQuality[u"jpg"_s] = 0;

    EXPECT_EQ(preferences.bitrate(u"mp3"_s), 96);
    EXPECT_EQ(preferences.bitrate(u"MP3"_s), 256);
    EXPECT_EQ(preferences.quality(u"jpg"_s), 0.0);
    EXPECT_EQ(preferences.quality(u"jpeg"_s), 1.0);
}

TEST(Preferences, surviveTheirStoredForm)
{
    const Preferences preferences{true,
                                  false,
                                  {"/saved", "/un été, « ici » \\ \"là\"\n\x7f/%41",
                                   "/no/valid \xff\xe9%20/utf-8", "/\xed\xa0\x80", "/"},
                                  {{u"jpg"_s, 0.1}, {u"heic"_s, 1.0 / 3}},
                                  {{u"mp3"_s, 320}, {u"other"_s, std::numeric_limits<qint64>::max()}},
                                  {{u"mp4"_s, 2}},
                                  std::chrono::minutes(30),
                                  u"/usr/bin/ffmpeg"_s};

    const std::optional<QByteArray> stored = preferences.encoded();

    ASSERT_TRUE(stored);
    EXPECT_EQ(Preferences::decoded(*stored), preferences);
}

TEST(Preferences, areNotStoredWithAQualityThatIsNoNumber)
{
    Preferences preferences;
    preferences.imageQuality[u"jpg"_s] = std::numeric_limits<double>::quiet_NaN();

    EXPECT_EQ(preferences.encoded(), std::nullopt);
}

TEST(Preferences, areReadFromACompleteDocument)
{
    QJsonObject object = QJsonDocument::fromJson(complete).object();
    object[u"later"_s] = u"ignored"_s;

    const auto preferences = Preferences::decoded(QJsonDocument(object).toJson());

    const Preferences expected{true,
                               false,
                               {"/saved"},
                               {{u"jpg"_s, 0.5}},
                               {{u"mp3"_s, 192}},
                               {{u"mp4"_s, 2}},
                               std::chrono::minutes(30),
                               u"/x"_s};
    EXPECT_EQ(preferences, expected);
}

TEST(Preferences, areNotReadWithoutOneOfTheirMembers)
{
    const QJsonObject object = QJsonDocument::fromJson(complete).object();
    for (const QString &key : object.keys()) {
        QJsonObject incomplete = object;
        incomplete.remove(key);
        EXPECT_EQ(Preferences::decoded(QJsonDocument(incomplete).toJson()), std::nullopt)
            << key.toStdString();
    }
}

struct WrongValue
{
    const char *from;
    const char *to;
};

void PrintTo(const WrongValue &wrong, std::ostream *out)
{
    *out << wrong.to;
}

class WrongValueTest : public testing::TestWithParam<WrongValue>
{};

TEST_P(WrongValueTest, failsTheWholeDocument)
{
    QByteArray document = complete;
    document.replace(GetParam().from, GetParam().to);
    ASSERT_NE(document, complete);

    EXPECT_EQ(Preferences::decoded(document), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Preferences, WrongValueTest,
    testing::Values(WrongValue{"true", "1"}, WrongValue{"false", "\"false\""},
                    WrongValue{"[\"/saved\"]", "\"/saved\""}, WrongValue{"[\"/saved\"]", "[\"/saved\",1]"},
                    WrongValue{"{\"jpg\":0.5}", "[0.5]"}, WrongValue{"0.5", "\"0.5\""},
                    WrongValue{"0.5", "null"}, WrongValue{"192", "192.5"}, WrongValue{"192", "1e300"},
                    WrongValue{"192", "true"}, WrongValue{":2", ":\"2\""}, WrongValue{"\"/x\"", "null"},
                    WrongValue{"\"/x\"}", "\"/x\""}, WrongValue{complete.constData(), "[]"},
                    WrongValue{complete.constData(), ""}));

TEST(Preferences, findTheEngineInTheBundleAlone)
{
    // The bundle of the test programs is the folder above theirs; its engine is a link that the build made.
    EXPECT_EQ(Preferences::ffmpeg(), Bundle::root() / "Contents/Helpers/ffmpeg");
    EXPECT_FALSE(Bundle::isExecutableFile(Bundle::root() / "Contents/Helpers"));
    EXPECT_FALSE(Bundle::isExecutableFile(Bundle::root() / "Contents/Helpers/absent"));
}

} // namespace

} // namespace quorvalent::test
