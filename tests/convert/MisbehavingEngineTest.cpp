#include "convert/ConversionDriver.h"
#include "convert/HelperEngines.h"
#include "convert/HelperReserve.h"
#include "core/ConversionError.h"
#include "platform/Error.h"
#include "support/TestFolder.h"
#include "support/WaitFor.h"

#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <fstream>
#include <future>
#include <string>

// The driver with real files and a helper process that misbehaves.

namespace quorvalent::test {

namespace {

namespace fs = std::filesystem;

// A watched folder, and beside it the helper with what it may be after.
class HelperWorld
{
public:
    explicit HelperWorld(HelperLimits limits = {})
        : m_limits(std::move(limits))
        , m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof(address);
        auto *anyAddress = reinterpret_cast<sockaddr *>(&address);
        if (::bind(m_listener.get(), anyAddress, length) != 0 || ::listen(m_listener.get(), 8) != 0 ||
            ::getsockname(m_listener.get(), anyAddress, &length) != 0)
            throw std::runtime_error("no listener");
        m_beside.write("port", std::to_string(ntohs(address.sin_port)));
        m_beside.write("diary", "private");
        m_beside.write("starts", "");
        fs::create_symlink(MISBEHAVING_ENGINE_PROGRAM, m_beside / "engine");
    }

    void setBehaviour(const std::string &name) const { m_beside.write("behaviour", name); }

    // "done", or the sentence of the error.
    [[nodiscard]] std::string convert(const std::string &oldName, const std::string &newName) const
    {
        const fs::path newURL = folder.path() / newName;
        const RenameJob job{folder.path() / oldName, newURL, FileStamp::read(newURL)};
        try {
            m_driver.convert(job, {});
            return "done";
        } catch (const Error &failure) {
            return failure.what();
        }
    }

    [[nodiscard]] fs::path program() const { return m_beside / "engine"; }
    [[nodiscard]] HelperPrograms programs() const { return {program(), program()}; }
    [[nodiscard]] std::size_t starts() const { return m_beside.read("starts").size(); }
    [[nodiscard]] std::string diary() const { return m_beside.read("diary"); }

    // Processes that were started as our helper, forked ones too.
    [[nodiscard]] int helpersRunning() const
    {
        int count = 0;
        for (const fs::directory_entry &process : fs::directory_iterator("/proc")) {
            std::string argument;
            std::ifstream commandLine(process.path() / "cmdline");
            if (std::getline(commandLine, argument, '\0') && argument == program().native())
                ++count;
        }
        return count;
    }

    const TestFolder folder;

private:
    const HelperLimits m_limits;
    const TestFolder m_beside;
    const FileDescriptor m_listener;
    const Files m_files;
    const ConversionDriver m_driver{m_files,
                                    HelperEngines::forDriver(HelperEngines::starting(programs(), m_limits))};
};

constexpr auto stopped = "Le moteur de conversion s’est arrêté de façon inattendue.";
constexpr auto outOfMemory = "Mémoire insuffisante pour convertir ce fichier.";
constexpr auto notValid = "Le moteur n’a produit aucun fichier valide.";
constexpr auto notThere = "« output.jpg » est introuvable.";
constexpr auto caged = "Refusé par la cage.";

struct Misbehaviour
{
    const char *name;
    const char *sentence;
};

void PrintTo(const Misbehaviour &misbehaviour, std::ostream *out)
{
    *out << misbehaviour.name;
}

const std::array misbehaviours
{
    Misbehaviour{"diesAtTheStart", stopped}, Misbehaviour{"crashes", stopped},
        Misbehaviour{"isKilled", outOfMemory}, Misbehaviour{"hangsUpAndGoesOn", stopped},
        Misbehaviour{"floods", stopped}, Misbehaviour{"sendsGarbage", stopped},
        Misbehaviour{"sendsAHugeLength", stopped}, Misbehaviour{"sendsHalfAMessage", stopped},
        Misbehaviour{"sendsARequest", stopped}, Misbehaviour{"answersAnotherQuestion", stopped},
        Misbehaviour{"goesBeyondTheEnd", stopped}, Misbehaviour{"goesBackBeyondTheStart", stopped},
        Misbehaviour{"reportsNoNumber", stopped}, Misbehaviour{"exitsWithoutAWord", stopped},
        Misbehaviour{"claimsToBeDone", notThere}, Misbehaviour{"leavesAChildAndDies", stopped},
        Misbehaviour{"opensTheUsersTable", caged}, Misbehaviour{"opensTheHome", caged},
        Misbehaviour{"writesElsewhere", caged}, Misbehaviour{"connectsToLoopback", caged},
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__) // those have no memory limit
        Misbehaviour{"eatsMemory", outOfMemory}, Misbehaviour{"diesForWantOfMemory", outOfMemory},
#endif
        Misbehaviour{"leavesALink", notValid}, Misbehaviour{"leavesAnotherNameOfAFile", notValid},
        Misbehaviour{"leavesAPipe", notValid}, Misbehaviour{"leavesAFolder", notValid},
        Misbehaviour{"leavesNothingInAFile", notValid},
};

class MisbehavingEngine : public testing::TestWithParam<Misbehaviour>
{};

} // namespace

TEST_P(MisbehavingEngine, endsOneJobAndNothingElse)
{
    const HelperWorld world;
    world.setBehaviour(GetParam().name);
    world.folder.write("photo.jpg", "old");

    EXPECT_EQ(world.convert("photo.png", "photo.jpg"),
              std::string(GetParam().sentence) + " Extension d’origine rétablie.");
    EXPECT_EQ(world.folder.listing(), std::vector<std::string>{"photo.png"});
    EXPECT_EQ(world.folder.read("photo.png"), "old");
    EXPECT_EQ(world.diary(), "private");
    EXPECT_TRUE(waitFor([&] { return world.helpersRunning() == 0; }));

    world.setBehaviour("good");
    fs::rename(world.folder / "photo.png", world.folder / "photo.jpg");
    EXPECT_EQ(world.convert("photo.png", "photo.jpg"), "done");
    EXPECT_EQ(world.folder.listing(), std::vector<std::string>{"photo.jpg"});
    EXPECT_EQ(world.folder.read("photo.jpg"), "new");
}

INSTANTIATE_TEST_SUITE_P(Each, MisbehavingEngine, testing::ValuesIn(misbehaviours),
                         [](const auto &row) { return std::string(row.param.name); });

TEST(MisbehavingEngineTest, isReplacedForTheSecondEnginesTurn)
{
    const HelperWorld world;
    world.setBehaviour("crashesOnce");
    world.folder.write("sound.m4a", "old");
    EXPECT_EQ(world.convert("sound.wav", "sound.m4a"), "done");
    EXPECT_EQ(world.folder.listing(), std::vector<std::string>{"sound.m4a"});
    EXPECT_EQ(world.folder.read("sound.m4a"), "new");
}

TEST(MisbehavingEngineTest, isEndedWhenItDoesNothingAndNotWhileItWorks)
{
    const HelperWorld world({.silence = std::chrono::milliseconds(500)});
    for (const std::string behaviour : {"saysNothing", "doesNotListen"}) {
        world.setBehaviour(behaviour);
        world.folder.write("sound.m4a", "old");
        EXPECT_EQ(world.convert("sound.wav", "sound.m4a"),
                  "Le moteur de conversion ne répond plus. Extension d’origine rétablie.");
        EXPECT_EQ(world.folder.listing(), std::vector<std::string>{"sound.wav"}) << behaviour;
        fs::remove(world.folder / "sound.wav");
    }
    EXPECT_EQ(world.starts(), 2U) << "no second engine is tried";
    for (const std::string behaviour : {"computesInSilence", "letsAChildCompute"}) {
        world.setBehaviour(behaviour);
        world.folder.write("photo.jpg", "old");
        EXPECT_EQ(world.convert("photo.png", "photo.jpg"), "done") << behaviour;
    }
    EXPECT_TRUE(waitFor([&] { return world.helpersRunning() == 0; }));
}

TEST(MisbehavingEngineTest, isEndedAtTheProgramsRequest)
{
    const auto interruption = std::make_shared<Interruption>();
    const HelperWorld world({.interruption = interruption});
    world.setBehaviour("doesNotListen");
    world.folder.write("sound.m4a", "old");
    auto outcome =
        std::async(std::launch::async, [&world] { return world.convert("sound.wav", "sound.m4a"); });
    EXPECT_TRUE(waitFor([&] { return world.helpersRunning() == 1; }));
    interruption->request();
    EXPECT_EQ(outcome.get(),
              "Quorvalent s’est arrêté avant la fin de la conversion. Extension d’origine rétablie.");
    EXPECT_EQ(world.folder.listing(), std::vector<std::string>{"sound.wav"});
}

TEST(MisbehavingEngineTest, leavesNoChildBehindASuccessfulJob)
{
    const HelperWorld world;
    world.setBehaviour("leavesAChild");
    world.folder.write("photo.jpg", "old");
    EXPECT_EQ(world.convert("photo.png", "photo.jpg"), "done");
    EXPECT_TRUE(waitFor([&] { return world.helpersRunning() == 0; }));
}

// A process that is ending has no name any more, and has not ended yet.
bool hasEndedChild()
{
    siginfo_t end = {};
    return ::waitid(P_ALL, 0, &end, WEXITED | WNOHANG | WNOWAIT) == 0 && end.si_pid != 0;
}

TEST(HelperReserve, handsOutTheOneThatWaits)
{
    const HelperWorld world;
    world.setBehaviour("good");
    HelperReserve reserve(world.programs());
    reserve.expect(EngineHelper::Family::Image);
    reserve.expect(EngineHelper::Family::Image);
    ASSERT_TRUE(waitFor([&] { return world.starts() == 1; }));

    const auto first = reserve.take(EngineHelper::Family::Image);
    first->begin({world.folder.path(), {}});
    first->convert({.files = {"source.png", "output.jpg"}}, [](auto) {});
    EXPECT_EQ(world.folder.read("output.jpg"), "new");
    EXPECT_EQ(world.starts(), 1U);

    const auto second = reserve.take(EngineHelper::Family::Image);
    ASSERT_TRUE(waitFor([&] { return world.starts() == 2; })) << "one helper, one conversion";
}

TEST(HelperReserve, startsAnotherWhereTheOneThatWaitsIsOfNoUse)
{
    const HelperWorld world;
    world.setBehaviour("diesAtTheStart");
    HelperReserve reserve(world.programs());
    reserve.expect(EngineHelper::Family::Media);
    ASSERT_TRUE(waitFor(&hasEndedChild));
    world.setBehaviour("good");
    const auto instead = reserve.take(EngineHelper::Family::Media);
    ASSERT_TRUE(waitFor([&] { return world.starts() == 2; }));

    reserve.expect(EngineHelper::Family::Media);
    ASSERT_TRUE(waitFor([&] { return world.starts() == 3; }));
    const auto taken = reserve.take(EngineHelper::Family::Image);
    EXPECT_TRUE(waitFor([&] { return world.starts() == 4; })) << "another family";
    EXPECT_EQ(world.helpersRunning(), 2);
}

TEST(HelperReserve, keepsNoProcessThatNobodyNeeds)
{
    const HelperWorld world;
    world.setBehaviour("good");
    {
        HelperReserve impatient(world.programs(), std::chrono::milliseconds(20));
        ASSERT_TRUE(waitFor([&] {
            impatient.expect(EngineHelper::Family::Image); // lets one that waits stay
            return world.starts() > 0;
        }));
        EXPECT_TRUE(waitFor([&] { return world.helpersRunning() == 0; }));
    }
    {
        HelperReserve ending(world.programs());
        const std::size_t before = world.starts();
        ending.expect(EngineHelper::Family::Image);
        ASSERT_TRUE(waitFor([&] { return world.starts() > before; }));
    }
    EXPECT_EQ(world.helpersRunning(), 0);
}

TEST(HelperReserve, tellsAtTheConversionThatThereIsNoProgram)
{
    HelperReserve reserve({"/no/such/program", "/no/such/program"});
    reserve.expect(EngineHelper::Family::Image);
    EXPECT_THROW((void)reserve.take(EngineHelper::Family::Image), ConversionError);
}

} // namespace quorvalent::test
