#include "support/TestFolder.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

#include <gtest/gtest.h>

// The built-in checks of the real program, in a copy of its bundle that a test may break.

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;
using namespace Qt::StringLiterals;

struct Outcome
{
    int status = -1;
    QByteArray output;
    QByteArray errors;
};

class SelfCheckTest : public testing::Test
{
protected:
    SelfCheckTest()
    {
        fs::create_directories(bundle / "bin");
        fs::copy_file(built / "bin/quorvalent", bundle / "bin/quorvalent");
        fs::copy(built / "Contents", bundle / "Contents",
                 fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    }

    [[nodiscard]] Outcome run(const QStringList &arguments) const
    {
        QProcess program;
        program.start(QString::fromStdString((bundle / "bin/quorvalent").native()), arguments);
        EXPECT_TRUE(program.waitForFinished(-1));
        return {program.exitCode(), program.readAllStandardOutput(), program.readAllStandardError()};
    }

    // Has the change made in the JSON file of the bundle.
    void edit(const fs::path &name, const std::function<void(QJsonObject &)> &change) const
    {
        QJsonObject object = QJsonDocument::fromJson(QByteArray::fromStdString(bundle.read(name))).object();
        change(object);
        bundle.write(name, QJsonDocument(object).toJson().toStdString());
    }

    const fs::path built = QUORVALENT_BUNDLE;
    TestFolder bundle;
};

TEST_F(SelfCheckTest, passesOnTheBundleAsBuilt)
{
    for (const QString &flag : {u"--update-test"_s, u"--localization-test"_s}) {
        const Outcome alone = run({flag});
        EXPECT_EQ(alone.status, 0) << alone.output.toStdString();
        EXPECT_TRUE(alone.output.isEmpty() && alone.errors.isEmpty());
    }
    const Outcome all = run({u"--self-test"_s});
    EXPECT_EQ(all.status, 0) << all.errors.toStdString();
    EXPECT_TRUE(all.output.endsWith("\nALL TESTS PASSED\n")) << all.output.toStdString();
    EXPECT_TRUE(all.errors.isEmpty());
}

TEST_F(SelfCheckTest, failsWhereATextIsMissing)
{
    const QString key = u"Compris"_s;
    const auto takeOut = [&](const QStringList &languages) {
        edit("Contents/Resources/Translations.json", [&](QJsonObject &tables) {
            for (const QString &language : languages) {
                QJsonObject table = tables[language].toObject();
                table.remove(key);
                tables[language] = table;
            }
        });
    };
    takeOut({u"km"_s});
    Outcome localization = run({u"--localization-test"_s});
    EXPECT_EQ(localization.status, 1);
    EXPECT_EQ(localization.output, "km lacks the text: Compris\n");
    EXPECT_TRUE(localization.errors.isEmpty());

    QStringList all;
    edit("Contents/Resources/Translations.json", [&](const QJsonObject &tables) { all = tables.keys(); });
    takeOut(all);
    EXPECT_EQ(run({u"--localization-test"_s}).output, "en lacks the text: Compris\n");

    const Outcome suite = run({u"--self-test"_s});
    EXPECT_EQ(suite.status, 1);
    EXPECT_EQ(suite.errors, "TEST FAILED: en lacks the text: Compris\n");
    EXPECT_FALSE(suite.output.contains("PASSED"));
}

TEST_F(SelfCheckTest, failsWhereAPartOfTheBundleIsMissing)
{
    fs::remove(bundle / "Contents/Resources/Help/ja.html");
    EXPECT_EQ(run({u"--localization-test"_s}).output, "no help page for ja\n");

    edit("Contents/Info.json",
         [](QJsonObject &information) { information[u"SURequireSignedFeed"_s] = false; });
    const Outcome updates = run({u"--update-test"_s});
    EXPECT_EQ(updates.status, 1);
    EXPECT_EQ(updates.output, "the bundle's information has another value of SURequireSignedFeed\n");
}

} // namespace

} // namespace quorvalent::test
