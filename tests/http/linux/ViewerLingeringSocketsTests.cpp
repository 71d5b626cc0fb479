#include "core/http/linux/ViewerLingeringSockets.h"

#include <gtest/gtest.h>
#include <sys/ioctl.h>

#include <boost/asio/buffer.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <chrono>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/http/linux/EventLog.h"
#include "tests/http/linux/LoopThread.h"
#include "tests/http/linux/SocketClient.h"
#include "tests/support/runtime/ManualClock.h"

namespace velmora {

namespace {

using boost::asio::ip::tcp;

constexpr std::size_t unreadSocketLimit = 8;

const std::string mebibyte(1024UL * 1024, 'm');

/// Lingering sockets on a loop of their own, with real peers. "room" is in the log each time that
/// one begins to linger, and each time that one has gone.
class LingeringWorld final {
  public:
    LingeringWorld() {
        loop.run([this] { ASSERT_EQ(set->open(), 0); });
        sockets->setRoomHandler([this] { log.add("room"); });
    }
    ~LingeringWorld() { loop.stop(); }
    LingeringWorld(const LingeringWorld&) = delete;
    LingeringWorld& operator=(const LingeringWorld&) = delete;

    /// A client whose connection lingers unread, with "answer" on its way.
    SocketClient linger() {
        return begin([this](ViewerSocketDescriptor socket) { sockets->linger(std::move(socket)); });
    }
    /// The same, and what the client sends is taken in.
    SocketClient drain() {
        return begin([this](ViewerSocketDescriptor socket) { sockets->drain(std::move(socket)); });
    }

    /// Waits until the only socket has thrown everything away that the client has sent, or has
    /// gone.
    void awaitDrained(const SocketClient& client) {
        std::size_t unsent = 0;
        int unread = 0;
        do {
            unsent = client.unsentBytes();
            loop.run([&] { ::ioctl(descriptor_, FIONREAD, &unread); });
        } while ((unsent > 0 || unread > 0) && log.count("room") < 2);
    }

    /// How many of them still linger.
    std::size_t count() {
        loop.run([] {});
        return 2 * begun_ - log.count("room");
    }

    LoopThread loop;
    EventLog log;
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    std::shared_ptr<ViewerSocketSet> set =
        std::make_shared<ViewerSocketSet>(loop.executor(), clock);
    std::shared_ptr<ViewerLingeringSockets> sockets =
        std::make_shared<ViewerLingeringSockets>(set, clock, unreadSocketLimit);

  private:
    template <typename Begin>
    SocketClient begin(Begin begin) {
        SocketClient client(acceptor_.local_endpoint().port());
        tcp::socket accepted = acceptor_.accept(loop.executor());
        accepted.non_blocking(true);
        (void)accepted.send(boost::asio::buffer("answer", 6));  // an empty buffer takes it all
        ViewerSocketDescriptor socket(accepted.release());
        descriptor_ = socket.number();
        loop.run([&] { begin(std::move(socket)); });
        ++begun_;
        return client;
    }

    tcp::acceptor acceptor_{loop.context(),
                            tcp::endpoint(boost::asio::ip::address_v4::loopback(), 0)};
    std::size_t begun_ = 0;
    /// Of the socket that began last.
    int descriptor_ = -1;
};

/// Whether the server's end is gone: it answers with a reset.
bool isClosed(SocketClient& client) {
    return !client.send("x") || client.waitForReset();
}

}  // namespace

TEST(ViewerLingeringSockets, EndTheAnswerWhileThePeerIsStillSending) {
    LingeringWorld world;
    SocketClient client = world.drain();
    EXPECT_TRUE(client.send(mebibyte));
    const ReceivedAnswer answer = client.receiveAll();
    EXPECT_EQ(answer.bytes, "answer");
    EXPECT_TRUE(answer.isEnded);
    EXPECT_EQ(world.count(), 1U);
}

TEST(ViewerLingeringSockets, CloseASocketWhosePeerHasEnded) {
    LingeringWorld world;
    SocketClient client = world.drain();
    client.send(mebibyte);
    client.endSending();
    EXPECT_TRUE(world.log.waitFor("room", 2));
    EXPECT_EQ(world.count(), 0U);
    EXPECT_EQ(client.receiveAll().bytes, "answer");
}

TEST(ViewerLingeringSockets, CloseASocketWhosePeerHasResetIt) {
    LingeringWorld world;
    SocketClient client = world.drain();
    client.reset();
    EXPECT_TRUE(world.log.waitFor("room", 2));
    EXPECT_EQ(world.count(), 0U);
}

TEST(ViewerLingeringSockets, CloseASocketThatWasResetBefore) {
    LingeringWorld world;
    world.loop.run([&] { world.sockets->linger(ViewerSocketDescriptor()); });
    EXPECT_EQ(world.log.count("room"), 1U);
}

TEST(ViewerLingeringSockets, CloseASocketAfterTwoSeconds) {
    LingeringWorld world;
    SocketClient client = world.drain();
    world.clock->advance(std::chrono::milliseconds(1999));
    EXPECT_EQ(world.count(), 1U);
    EXPECT_TRUE(client.send(mebibyte));
    world.clock->advance(std::chrono::milliseconds(1));
    EXPECT_EQ(world.count(), 0U);
    EXPECT_TRUE(isClosed(client));
}

TEST(ViewerLingeringSockets, CloseASocketAfterSixteenMebibytes) {
    LingeringWorld world;
    SocketClient client = world.drain();
    for (int i = 0; i < 15; ++i) {
        ASSERT_TRUE(client.send(mebibyte));
    }
    ASSERT_TRUE(client.send(std::string_view(mebibyte).substr(1)));
    world.awaitDrained(client);
    EXPECT_EQ(world.count(), 1U) << "one byte is missing";
    client.send("x");
    EXPECT_TRUE(world.log.waitFor("room", 2));
    EXPECT_EQ(world.count(), 0U);
}

TEST(ViewerLingeringSockets, CloseTheOldestForThe65th) {
    LingeringWorld world;
    std::vector<SocketClient> clients;
    clients.reserve(ViewerLingeringSockets::drainedSocketLimit + 1);
    for (std::size_t i = 0; i < ViewerLingeringSockets::drainedSocketLimit; ++i) {
        clients.push_back(world.drain());
    }
    EXPECT_EQ(world.count(), 64U);
    clients.push_back(world.drain());
    EXPECT_EQ(world.count(), 64U);
    EXPECT_TRUE(isClosed(clients.front()));
    EXPECT_TRUE(clients[1].send(mebibyte));
    EXPECT_EQ(clients.front().receiveAll().bytes, "answer");
}

TEST(ViewerLingeringSockets, LeaveAnUnreadSocketAloneForTwoSeconds) {
    LingeringWorld world;
    SocketClient client = world.linger();
    EXPECT_TRUE(client.send("late"));
    EXPECT_EQ(client.receiveAll().bytes, "answer");
    client.endSending();
    world.clock->advance(std::chrono::milliseconds(1999));
    EXPECT_EQ(world.count(), 1U);
    world.clock->advance(std::chrono::milliseconds(1));
    EXPECT_EQ(world.count(), 0U);
}

TEST(ViewerLingeringSockets, ResetNobodyWhoseLateBytesAreTwoSecondsOld) {
    LingeringWorld world;
    SocketClient client = world.linger();
    EXPECT_TRUE(client.send("late"));
    world.clock->advance(std::chrono::seconds(2));
    ASSERT_EQ(world.count(), 0U);
    EXPECT_TRUE(client.send("x")) << "a reset would forbid it";
}

TEST(ViewerLingeringSockets, ResetNobodyWhoseLateBytesCameBeforeItsPlaceWasNeeded) {
    LingeringWorld world;
    SocketClient oldest = world.linger();
    EXPECT_TRUE(oldest.send("late"));
    world.loop.run([&] { EXPECT_TRUE(world.sockets->closeOldest()); });
    EXPECT_EQ(world.count(), 0U);
    EXPECT_TRUE(oldest.send("x")) << "a reset would forbid it";
}

TEST(ViewerLingeringSockets, CloseASocketWhosePeerHasEndedWhenSomeOthersHaveCome) {
    LingeringWorld world;
    SocketClient first = world.linger();
    SocketClient second = world.linger();
    SocketClient third = world.linger();
    first.endSending();
    second.endSending();
    third.reset();
    std::vector<SocketClient> others;
    others.push_back(world.linger());
    EXPECT_EQ(world.count(), 4U);

    others.push_back(world.linger());
    EXPECT_EQ(world.count(), 4U) << "the first one is closed";
    EXPECT_EQ(first.receiveAll().bytes, "answer");
    others.push_back(world.linger());
    others.push_back(world.linger());
    EXPECT_EQ(world.count(), 4U) << "so are the second and the third";
}

TEST(ViewerLingeringSockets, LeaveASocketAloneWhosePeerHasNotEndedWhenSomeOthersHaveCome) {
    LingeringWorld world;
    SocketClient silent = world.linger();
    SocketClient sending = world.linger();
    EXPECT_TRUE(sending.send("late"));
    std::vector<SocketClient> others;
    others.reserve(unreadSocketLimit - 2);
    for (std::size_t i = 0; i < unreadSocketLimit - 2; ++i) {
        others.push_back(world.linger());
    }
    EXPECT_EQ(world.count(), unreadSocketLimit);
    EXPECT_TRUE(silent.send("late"));
    EXPECT_TRUE(sending.send("later"));
}

TEST(ViewerLingeringSockets, CloseTheOldestUnreadOneForTheNext) {
    LingeringWorld world;
    std::vector<SocketClient> clients;
    for (std::size_t i = 0; i <= unreadSocketLimit; ++i) {
        clients.push_back(world.linger());
    }
    EXPECT_EQ(world.count(), unreadSocketLimit);
    EXPECT_TRUE(isClosed(clients.front()));
    EXPECT_TRUE(clients[1].send(mebibyte.substr(0, 1000)));
    EXPECT_EQ(clients.front().receiveAll().bytes, "answer");
}

TEST(ViewerLingeringSockets, CloseWhatEndsWithinATenthOfASecondTogether) {
    LingeringWorld world;
    SocketClient first = world.linger();
    world.clock->advance(std::chrono::milliseconds(1));
    SocketClient second = world.linger();
    world.clock->advance(std::chrono::milliseconds(1999));
    EXPECT_EQ(world.count(), 1U);
    world.clock->advance(std::chrono::milliseconds(99));
    EXPECT_EQ(world.count(), 1U);
    world.clock->advance(std::chrono::milliseconds(1));
    EXPECT_EQ(world.count(), 0U);
}

TEST(ViewerLingeringSockets, CloseTheOldestWhenAsked) {
    LingeringWorld world;
    SocketClient older = world.linger();
    SocketClient younger = world.linger();
    bool isClosedFirst = false;
    world.loop.run([&] { isClosedFirst = world.sockets->closeOldest(); });
    EXPECT_TRUE(isClosedFirst);
    EXPECT_TRUE(isClosed(older));
    EXPECT_TRUE(younger.send(mebibyte));
    EXPECT_EQ(world.count(), 1U);
}

TEST(ViewerLingeringSockets, HaveNoOldestWhenThereIsNone) {
    LingeringWorld world;
    bool isClosedOne = true;
    world.loop.run([&] { isClosedOne = world.sockets->closeOldest(); });
    EXPECT_FALSE(isClosedOne);
}

TEST(ViewerLingeringSockets, AwaitTheirDeadlinesWithOneTimer) {
    LingeringWorld world;
    SocketClient first = world.linger();
    world.clock->advance(std::chrono::seconds(1));
    SocketClient second = world.linger();
    EXPECT_EQ(world.clock->pendingTimers(), 1U);
    world.clock->advance(std::chrono::seconds(1));
    EXPECT_EQ(world.count(), 1U);
    EXPECT_EQ(world.clock->pendingTimers(), 1U);
    world.clock->advance(std::chrono::seconds(1));
    EXPECT_EQ(world.count(), 0U);
    EXPECT_EQ(world.clock->pendingTimers(), 0U);
}

TEST(ViewerLingeringSockets, LiveOnWithoutAnOwnerWhileTheyLinger) {
    LingeringWorld world;
    SocketClient client = world.drain();
    const std::weak_ptr<ViewerLingeringSockets> weak = world.sockets;
    world.loop.run([&] { world.sockets.reset(); });
    EXPECT_TRUE(client.send(mebibyte));
    client.endSending();
    EXPECT_TRUE(world.log.waitFor("room", 2));
    world.loop.run([] {});
    EXPECT_TRUE(weak.expired());
}

TEST(ViewerLingeringSockets, CloseASocketInTimeThoughNobodyWatchesItAnyMore) {
    LingeringWorld world;
    SocketClient before = world.drain();
    world.loop.run([&] { world.set.reset(); });
    SocketClient after = world.drain();
    EXPECT_EQ(world.count(), 2U);
    world.clock->advance(std::chrono::seconds(2));
    EXPECT_EQ(world.count(), 0U);
    EXPECT_TRUE(isClosed(before));
    EXPECT_TRUE(isClosed(after));
}

TEST(ViewerLingeringSockets, CloseASocketAtOnceWhenTheClockHasGone) {
    LingeringWorld world;
    world.loop.run([&] { world.clock.reset(); });
    SocketClient unread = world.linger();
    SocketClient drained = world.drain();
    EXPECT_EQ(world.log.count("room"), 2U);
    EXPECT_TRUE(isClosed(unread));
    EXPECT_TRUE(isClosed(drained));
}

TEST(ViewerLingeringSockets, TakeInWhatComesThoughTheClockHasGone) {
    LingeringWorld world;
    SocketClient client = world.drain();
    world.loop.run([&] { world.clock.reset(); });
    client.endSending();
    EXPECT_TRUE(world.log.waitFor("room", 2));
    EXPECT_EQ(world.count(), 0U);
}

TEST(ViewerLingeringSockets, NeedNobodyWhoHearsOfRoom) {
    LingeringWorld world;
    world.sockets->setRoomHandler(nullptr);
    SocketClient client = world.drain();
    world.clock->advance(std::chrono::seconds(2));
    world.loop.run([] {});
    EXPECT_TRUE(isClosed(client));
}

TEST(ViewerLingeringSockets, DoNotKeepTheirLoopFromStopping) {
    LingeringWorld world;
    SocketClient client = world.linger();
    EXPECT_EQ(world.count(), 1U);
    world.loop.stop();
    EXPECT_EQ(world.log.count("room"), 1U);
}

}  // namespace velmora
