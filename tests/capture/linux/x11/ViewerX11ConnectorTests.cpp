#include "core/capture/linux/x11/ViewerX11Connector.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "core/runtime/linux/ViewerDetachedThread.h"
#include "tests/capture/linux/x11/X11Waiting.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

using Connection = std::shared_ptr<ViewerX11Connection>;

constexpr const char* threadName = "x11-connect";

/// A request and what came of it.
class Asked final {
  public:
    explicit Asked(ViewerX11Connector& connector)
        : id_(connector.connect([answer = answer_](Connection connection) {
              answer->set_value(std::move(connection));
          })) {}

    ViewerX11Connector::RequestId id() const { return id_; }
    /// Whether an answer came before this was called.
    bool isAnswered() const {
        return result_.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    }
    /// The answer, null also when none comes.
    Connection wait() {
        const bool isReady = result_.wait_for(X11Waiting::patience) == std::future_status::ready;
        EXPECT_TRUE(isReady) << "no answer";
        return isReady ? result_.get() : nullptr;
    }

  private:
    std::shared_ptr<std::promise<Connection>> answer_ =
        std::make_shared<std::promise<Connection>>();
    std::future<Connection> result_ = answer_->get_future();
    ViewerX11Connector::RequestId id_;
};

TEST(ViewerX11Connector, EachRequestGetsAConnectionOfItsOwn) {
    const XServer server;
    ViewerX11Connector connector(server.displayName());
    Asked first(connector);
    Asked second(connector);
    const Connection a = first.wait();
    const Connection b = second.wait();
    ASSERT_NE(a, nullptr);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a->xcb(), b->xcb());
    EXPECT_FALSE(a->isDead());
    EXPECT_NE(a->root(), 0U);
}

TEST(ViewerX11Connector, TheAnswerComesOnAThreadThatEndsWithTheLine) {
    const XServer server;
    ViewerX11Connector connector(server.displayName());
    std::promise<std::thread::id> thread;
    connector.connect([&](const Connection&) { thread.set_value(std::this_thread::get_id()); });
    EXPECT_NE(thread.get_future().get(), std::this_thread::get_id());
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(threadName) == 0; }));
    EXPECT_NE(Asked(connector).wait(), nullptr);
}

TEST(ViewerX11Connector, WithoutADisplayTheAnswerIsNullAtOnce) {
    ViewerX11Connector connector("");
    Asked asked(connector);
    EXPECT_TRUE(asked.isAnswered());
    EXPECT_EQ(asked.wait(), nullptr);
}

TEST(ViewerX11Connector, AServerThatIsNotThereIsNull) {
    XServer server;
    server.kill();
    ViewerX11Connector connector(server.displayName());
    EXPECT_EQ(Asked(connector).wait(), nullptr);
    ViewerX11Connector nonsense("no display at all");
    EXPECT_EQ(Asked(nonsense).wait(), nullptr);
    server.restart();
    EXPECT_NE(Asked(connector).wait(), nullptr);
}

TEST(ViewerX11Connector, AScreenThatTheServerDoesNotHaveIsNull) {
    const XServer server;
    ViewerX11Connector connector(server.displayName() + ".7");
    EXPECT_EQ(Asked(connector).wait(), nullptr);
}

TEST(ViewerX11Connector, AFrozenServerHoldsOneThreadAndTheLineGoesOnAfterwards) {
    XServer server;
    server.freeze();
    ViewerX11Connector connector(server.displayName());
    std::vector<std::unique_ptr<Asked>> line(5);
    for (auto& each : line) {
        each = std::make_unique<Asked>(connector);
    }
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(threadName) == 1; }));
    for (const auto& each : line) {
        EXPECT_FALSE(each->isAnswered());
    }
    server.thaw();
    for (const auto& each : line) {
        EXPECT_NE(each->wait(), nullptr);
    }
}

TEST(ViewerX11Connector, ARequestThatWasWithdrawnIsNotAnsweredAndHoldsUpNobody) {
    XServer server;
    server.freeze();
    ViewerX11Connector connector(server.displayName());
    Asked first(connector);
    Asked second(connector);
    connector.withdraw(first.id());
    connector.withdraw(first.id());
    server.thaw();
    EXPECT_NE(second.wait(), nullptr);
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed(threadName) == 0; }));
    EXPECT_FALSE(first.isAnswered());
}

TEST(ViewerX11Connector, AWithdrawnRequestLetsGoOfWhatItsCompletionHolds) {
    XServer server;
    server.freeze();
    ViewerX11Connector connector(server.displayName());
    const auto held = std::make_shared<int>(0);
    const auto id = connector.connect([held](const Connection&) {});
    EXPECT_GT(held.use_count(), 1);
    connector.withdraw(id);
    EXPECT_EQ(held.use_count(), 1);
}

TEST(ViewerX11Connector, ALineThatNobodyLeavesIsClosedToMore) {
    XServer server;
    server.freeze();
    ViewerX11Connector connector(server.displayName());
    std::vector<std::unique_ptr<Asked>> line;
    while (line.size() < 1000 && (line.empty() || !line.back()->isAnswered())) {
        line.push_back(std::make_unique<Asked>(connector));
    }
    ASSERT_LT(line.size(), 1000U);
    EXPECT_EQ(line.back()->wait(), nullptr);
    connector.withdraw(line.front()->id());
    EXPECT_FALSE(Asked(connector).isAnswered());
    server.thaw();
    EXPECT_NE(line[1]->wait(), nullptr);
}

TEST(ViewerX11Connector, ADestroyedConnectorLeavesItsThreadBehind) {
    XServer server;
    server.freeze();
    auto connector = std::make_unique<ViewerX11Connector>(server.displayName());
    Asked asked(*connector);
    connector.reset();
    server.thaw();
    EXPECT_NE(asked.wait(), nullptr);
}

TEST(ViewerX11Connection, AbortingFreesAThreadThatWaitsForAReply) {
    XServer server;
    const Connection connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    server.freeze();
    const auto done = std::make_shared<std::promise<void>>();
    ASSERT_TRUE(startDetachedThread("waiting", [connection, done] {
        const ViewerX11Reply<xcb_get_input_focus_reply_t> reply(xcb_get_input_focus_reply(
            connection->xcb(), xcb_get_input_focus(connection->xcb()), nullptr));
        done->set_value();
    }));
    connection->abort();
    connection->abort();
    done->get_future().wait();
    EXPECT_TRUE(connection->isDead());
}

TEST(ViewerX11Connection, TheServersDeathIsNoticedByTheNextRead) {
    XServer server;
    const Connection connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    EXPECT_FALSE(connection->isDead());
    server.kill();
    EXPECT_EQ(xcb_poll_for_event(connection->xcb()), nullptr);
    EXPECT_TRUE(connection->isDead());
}

}  // namespace
}  // namespace velmora
