#include "console/HumanReporter.h"
#include "console/JsonReporter.h"
#include "console/TerminalText.h"
#include "i18n/Localization.h"

#include "support/FakeWorld.h"

#include <gtest/gtest.h>

#include <cmath>

namespace quorvalent::test {

namespace {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

JobOutcome success()
{
    return {std::nullopt, u"Conversion terminée"_s, 1234567us, {u"Dit \"oui\"."_s}, "/folder/a\xff.png"};
}

JobOutcome failure()
{
    return {JobFailure{u"Format non pris en charge"_s, u"Dit \"non\"."_s}, u"Dit \"non\"."_s, 0s, {}, {}};
}

class ReporterTest : public testing::Test
{
protected:
    ReporterTest() { Localization::override = u"fr"_s; }
    ~ReporterTest() override { Localization::override.reset(); }

    Output output = [this](const QByteArray &bytes) { written += bytes; };
    ProgressThrottle throttle = ProgressThrottle([this] { return now; });

    QByteArray written;
    std::chrono::steady_clock::time_point now{};
    const RenameJob job = renamed("a \"b\"\n\xff.png", "é\\.jpg");
};

TEST_F(ReporterTest, writesEachEventAsOneJsonLine)
{
    JsonReporter reporter(output, throttle);
    reporter.watching({"/a", "/b\xff"});
    reporter.detected(job);
    reporter.started(job, u"PNG → JPG"_s, 2);
    reporter.progressed(job, std::nullopt);
    reporter.progressed(job, 1.0);
    reporter.finished(job, success());
    reporter.finished(job, failure());
    reporter.problem(u"photo\u202egnp\u007f\u009b.exe"_s);
    reporter.stopping(3);

    const QByteArray names = R"("old":"/folder/a \"b\"\n�.png","new":"/folder/é\\.jpg")";
    EXPECT_EQ(written.toStdString(),
              (R"({"event":"watching","folders":["/a","/b�"]})"
               "\n"
               R"({"event":"detected",)" +
               names +
               "}\n"
               R"({"event":"started",)" +
               names +
               R"(,"detail":"PNG → JPG","queued":2})"
               "\n"
               R"({"event":"progress","new":"/folder/é\\.jpg","fraction":null})"
               "\n"
               R"({"event":"progress","new":"/folder/é\\.jpg","fraction":1.000})"
               "\n"
               R"({"event":"finished",)" +
               names +
               R"(,"success":true,"detail":"Conversion terminée","remarks":["Dit \"oui\"."],)"
               R"("original":"/folder/a�.png","seconds":1.235})"
               "\n"
               R"({"event":"finished",)" +
               names +
               R"(,"success":false,"title":"Format non pris en charge",)"
               R"("detail":"Dit \"non\".","remarks":[],"original":null,"seconds":0.000})"
               "\n"
               R"({"event":"problem","message":"photo\u202Egnp\u007F\u009B.exe"})"
               "\n")
                  .toStdString());
}

TEST_F(ReporterTest, writesAFractionThatIsNoFractionAsJson)
{
    JsonReporter reporter(output, ProgressThrottle([this] { return now += 1s; }));
    for (const double fraction : {std::nan(""), -0.5, 7.0})
        reporter.progressed(renamed("a.png", "a.jpg"), fraction);

    EXPECT_EQ(written.count("null"), 1);
    EXPECT_EQ(written.count("0.000"), 1);
    EXPECT_EQ(written.count("1.000"), 1);
}

TEST_F(ReporterTest, writesAtMostTenFractionsASecondAndTheLast)
{
    JsonReporter reporter(output, throttle);
    for (int round = 0; round < 2; ++round) {
        reporter.started(job, {}, 0);
        written.clear();
        for (int step = 0; step < 999; ++step, now += 1ms)
            reporter.progressed(job, step / 1000.0);
        reporter.progressed(job, 1.0);

        EXPECT_EQ(written.count('\n'), 10);
        EXPECT_TRUE(written.contains("\"fraction\":0.000}")) << "the first report of a job is not late";
        EXPECT_TRUE(written.endsWith("\"fraction\":1.000}\n"));
    }
}

TEST_F(ReporterTest, tellsPeopleInLines)
{
    HumanReporter reporter(
        output, [] { return std::nullopt; }, throttle);
    reporter.watching({"/a"});
    reporter.detected(job);
    reporter.started(job, u"PNG → JPG"_s, 2);
    reporter.progressed(job, 0.5);
    reporter.stopping(3);
    reporter.finished(job, success());
    reporter.finished(renamed("a.png", "bell\a\x1b[2J\u202e\u009b.pdf"), failure());
    reporter.problem(u"Non."_s);

    EXPECT_EQ(
        written.toStdString(),
        "Dossiers surveillés :\n  /a\n"
        "Conversion en cours : é\\.jpg (PNG → JPG), 2 en attente\n"
        "Fin demandée. Conversions à terminer : 3\n"
        "✓ é\\.jpg (PNG → JPG)  Conversion terminée (1,23 s)\n"
        "  Dit \"oui\".\n"
        "✗ bell\\u0007\\u001B[2J\\u202E\\u009B.pdf (PNG → PDF)  Format non pris en charge : Dit \"non\".\n"
        "Problème de surveillance : Non.\n");
}

TEST_F(ReporterTest, keepsTheProgressOnTheLastLineOfATerminal)
{
    int columns = 60;
    HumanReporter reporter(
        output, [&columns] { return columns; }, throttle);
    reporter.started(job, u"PNG → JPG"_s, 0);
    reporter.progressed(job, 0.5);
    reporter.problem(u"Non."_s);
    EXPECT_EQ(written.toStdString(), "\r\x1b[K[····················]   …    é\\.jpg  PNG → JPG"
                                     "\r\x1b[K[==========          ]  50 %  é\\.jpg  PNG → JPG"
                                     "\r\x1b[KProblème de surveillance : Non.\n"
                                     "\r\x1b[K[==========          ]  50 %  é\\.jpg  PNG → JPG");

    for (columns = 1; columns < 60; ++columns) {
        written.clear();
        now += 1s;
        reporter.progressed(job, 0.5);
        EXPECT_LT(columnsOf(QString::fromUtf8(written.mid(4))), columns);
    }
    written.clear();
    reporter.finished(job, success());
    EXPECT_EQ(written.toStdString(), "\r\x1b[K✓ é\\.jpg (PNG → JPG)  Conversion terminée (1,23 s)\n"
                                     "\r\x1b[K  Dit \"oui\".\n");
}

TEST_F(ReporterTest, tellsOfJobsSideBySide)
{
    const RenameJob other = renamed("b.wav", "b.mp3", u"1-2"_s);
    HumanReporter people(
        output, [] { return 60; }, throttle);
    people.started(job, u"PNG → JPG"_s, 0);
    people.started(other, u"WAV → MP3"_s, 0);
    people.progressed(other, 0.5);
    written.clear();
    people.finished(job, success());
    EXPECT_EQ(written.toStdString(), "\r\x1b[K✓ é\\.jpg (PNG → JPG)  Conversion terminée (1,23 s)\n"
                                     "\r\x1b[K[==========          ]  50 %  b.mp3  WAV → MP3"
                                     "\r\x1b[K  Dit \"oui\".\n"
                                     "\r\x1b[K[==========          ]  50 %  b.mp3  WAV → MP3");

    JsonReporter programs(output, throttle);
    programs.started(job, {}, 0);
    programs.started(other, {}, 0);
    written.clear();
    programs.progressed(job, 0.1);
    programs.progressed(other, 0.2);
    EXPECT_EQ(written.count('\n'), 2) << "each job has its own ten a second";
}

TEST(TerminalText, isElidedInTheMiddleByColumnsAndWholeCharacters)
{
    EXPECT_EQ(elidedInTheMiddle(u"photo.jpg"_s, 9), u"photo.jpg"_s);
    EXPECT_EQ(elidedInTheMiddle(u"photo.jpg"_s, 8), u"pho….jpg"_s);
    EXPECT_EQ(elidedInTheMiddle(u"写真写真写真.jpg"_s, 11), u"写真….jpg"_s);
    EXPECT_EQ(elidedInTheMiddle(u"ée\u0301e\u0301e\u0301.jpg"_s, 7), u"ée\u0301e\u0301…jpg"_s);
    EXPECT_EQ(elidedInTheMiddle(u"photo.jpg"_s, 1), u"…"_s);
    EXPECT_EQ(elidedInTheMiddle(u"photo.jpg"_s, 0), QString());
}

} // namespace

} // namespace quorvalent::test
