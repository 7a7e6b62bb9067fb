#include "platform/update/UpdateFeed.h"
#include "platform/update/UpdateError.h"
#include "support/TestArchive.h"
#include "support/TestFolder.h"

#include <gtest/gtest.h>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;

const QUrl address(u"https://updates.example/feeds/feed"_s);

class UpdateFeeds : public testing::Test
{
protected:
    [[nodiscard]] UpdateRelease release(const char *version) const
    {
        return signedRelease(m_key, version, m_archive);
    }

    TestFolder m_folder;
    std::filesystem::path m_archive = m_folder.write("quorvalent.tar.zst", "archive");
    SigningKey m_key = SigningKey::generate();
};

TEST_F(UpdateFeeds, giveBackWhatWasPublished)
{
    UpdateRelease published = release("1.10");
    published.minimumSystem = QVersionNumber(2, 36);
    published.notes = {{u"en"_s, u"Faster"_s}, {u"fr"_s, u"Plus rapide"_s}};

    const UpdateFeed feed = UpdateFeed::read(signedFeed({published}, m_key), m_key.publicKey(), address);

    published.archive = QUrl(u"https://updates.example/feeds/quorvalent.tar.zst"_s);
    EXPECT_EQ(feed.releases, std::vector{published});
    EXPECT_EQ(feed.releases[0].notesIn(u"fr"_s), u"Plus rapide"_s);
    EXPECT_EQ(feed.releases[0].notesIn(u"ja"_s), u"Faster"_s);
}

TEST_F(UpdateFeeds, offerTheHighestVersionThatRunsHere)
{
    UpdateRelease tooNew = release("3.0");
    tooNew.minimumSystem = QVersionNumber(9, 0);
    const UpdateFeed feed{{release("1.9"), release("1.10"), tooNew, release("1.2")}};
    const auto offered = [&feed](const QVersionNumber &installed, const QVersionNumber &skipped = {}) {
        const auto newest = feed.newest(installed, QVersionNumber(2, 36), skipped);
        return newest ? newest->version.toString() : u"none"_s;
    };
    EXPECT_EQ(offered({1, 2}), u"1.10"_s);
    EXPECT_EQ(offered({1, 2}, {1, 10}), u"1.9"_s);
    EXPECT_EQ(offered({1, 10}), u"none"_s);
    EXPECT_EQ(offered({2}), u"none"_s) << "versions only go up";
    EXPECT_GT(systemVersion(), QVersionNumber(2, 30));
}

TEST_F(UpdateFeeds, areRefusedUnlessSignedAndWellFormed)
{
    const QByteArray good = signedFeed({release("2.0")}, m_key);
    QByteArray changed = good;
    changed.replace("2.0", "3.0");
    UpdateRelease noLength = release("2.0");
    noLength.lengthBytes = 0;
    UpdateRelease shortSum = release("2.0");
    shortSum.sha256.chop(1);
    const auto signedText = [this](const QByteArray &text) {
        return "quorvalent-feed-1 " + m_key.sign(text).toBase64() + '\n' + text;
    };
    struct
    {
        const char *what;
        QByteArray document;
    } const cases[] = {
        {"another key", signedFeed({release("2.0")}, SigningKey::generate())},
        {"changed afterwards", changed},
        {"unsigned", good.mid(good.indexOf('\n') + 1)},
        {"empty", {}},
        {"truncated", good.chopped(5)},
        {"no length", signedFeed({noLength}, m_key)},
        {"short checksum", signedFeed({shortSum}, m_key)},
        {"no JSON", signedText("releases")},
        {"no list", signedText("{}")},
        {"version with letters", signedText(R"({"releases": [{"version": "2.0b"}]})")},
    };
    for (const auto &[what, document] : cases) {
        try {
            (void)UpdateFeed::read(document, m_key.publicKey(), address);
            ADD_FAILURE() << what;
        } catch (const UpdateError &refusal) {
            EXPECT_EQ(refusal.kind(), UpdateError::Kind::BadFeed) << what;
        }
    }
    EXPECT_FALSE(PublicKey::fromBase64(u"abc"_s));
}

} // namespace

} // namespace quorvalent::test
