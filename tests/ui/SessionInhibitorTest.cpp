#include "ui/desktop/SessionInhibitor.h"

#include <QDBusContext>
#include <QDBusServer>
#include <QStringList>
#include <QTest>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <array>

namespace quorvalent {
namespace {

using namespace Qt::StringLiterals;

/// The two services, behind one connection without a bus.
class Managers : public QObject, protected QDBusContext
{
    Q_OBJECT

public:
    QStringList calls;
    QStringList refusedModes;
    int lock = -1; ///< what the program's descriptor keeps open

    [[nodiscard]] bool isLockOpen() const
    {
        char byte = 0;
        return ::read(lock, &byte, 1) < 0; // nothing yet, and a writer is left
    }

public Q_SLOTS:
    Q_SCRIPTABLE QDBusUnixFileDescriptor Inhibit(const QString &what, const QString &who, const QString &why,
                                                 const QString &mode)
    {
        calls << u"system %1 %2 %3 %4"_s.arg(what, who, why, mode);
        if (refusedModes.contains(mode)) {
            sendErrorReply(QDBusError::AccessDenied, u"not today"_s);
            return {};
        }
        std::array<int, 2> ends{};
        EXPECT_EQ(::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK), 0);
        ::close(lock);
        lock = ends[0];
        const QDBusUnixFileDescriptor handed(ends[1]);
        ::close(ends[1]);
        return handed;
    }
    Q_SCRIPTABLE uint Inhibit(const QString &who, uint window, const QString &why, uint flags)
    {
        calls << u"session %1 %2 %3 %4"_s.arg(who).arg(window).arg(why).arg(flags);
        return 7;
    }
    Q_SCRIPTABLE void Uninhibit(uint cookie) { calls << u"end of %1"_s.arg(cookie); }
};

class SessionInhibitorTest : public testing::Test
{
protected:
    SessionInhibitorTest()
        : server(u"unix:tmpdir=/tmp"_s)
        , bus(QDBusConnection::connectToPeer(server.address(), u"inhibitor"_s))
        , inhibitor({.session = [this] { return bus; }, .system = [this] { return bus; }})
    {
        QObject::connect(&server, &QDBusServer::newConnection, &managers, [this](QDBusConnection peer) {
            for (const QString &path : {u"/org/freedesktop/login1"_s, u"/org/gnome/SessionManager"_s})
                peer.registerObject(path,
                                    path.section(u'/', 1).replace(u'/', u'.') +
                                        (path.contains(u"login1"_s) ? u".Manager"_s : QString()),
                                    &managers, QDBusConnection::ExportScriptableSlots);
        });
    }
    ~SessionInhibitorTest() override
    {
        ::close(managers.lock);
        QDBusConnection::disconnectFromPeer(u"inhibitor"_s);
    }

    [[nodiscard]] bool sees(const QString &call)
    {
        return QTest::qWaitFor([&] { return managers.calls.contains(call); });
    }

    Managers managers;
    QDBusServer server;
    QDBusConnection bus;
    SessionInhibitor inhibitor;
};

TEST_F(SessionInhibitorTest, HoldsSystemAndSessionUntilTheReasonIsGone)
{
    inhibitor.hold(u"Busy."_s);
    inhibitor.hold(u"Busy again."_s);
    EXPECT_TRUE(sees(u"system shutdown Quorvalent Busy. block"_s));
    EXPECT_TRUE(sees(u"session Quorvalent 0 Busy. 1"_s));
    EXPECT_EQ(managers.calls.size(), 2);
    // The answers are under way, in the order of the questions.
    inhibitor.release();
    EXPECT_TRUE(sees(u"end of 7"_s));
    EXPECT_TRUE(QTest::qWaitFor([this] { return !managers.isLockOpen(); }));
}

TEST_F(SessionInhibitorTest, AsksForAShortDelayWhereBlockingIsRefused)
{
    managers.refusedModes << u"block"_s;
    inhibitor.hold(u"Busy."_s);
    EXPECT_TRUE(sees(u"system shutdown Quorvalent Busy. delay"_s));
    EXPECT_TRUE(managers.isLockOpen());
}

} // namespace
} // namespace quorvalent

#include "SessionInhibitorTest.moc"
