#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tests/chaos/ChaosRun.h"
#include "tests/chaos/PaintedScreen.h"
#include "tests/support/host/HostTest.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// What is documented, and what a busy machine may add.
constexpr auto grace = 3s;
constexpr auto slack = 2s;

std::chrono::milliseconds since(std::chrono::steady_clock::time_point begin) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 begin);
}

class ChaosOfRestarts : public testing::Test {
  protected:
    /// One life of the host, which ends in the middle of whatever is going on.
    void live() {
        AnswerRules rules(tally_, screen_.huesByName());
        rules.settle();
        const auto started = std::chrono::steady_clock::now();
        HostProcess host(launchOn(screen_.server()));
        ASSERT_EQ(host.readLine(), listeningLine);
        tally_.longestStart = std::max(tally_.longestStart, since(started));
        ChaosRun run(host, rules, tally_, static_cast<std::uint32_t>(random_()),
                     [] { return true; });
        ASSERT_TRUE(run.awaitDisplays(screen_.huesByName().size()));
        const auto holding = connect(run);
        run.begin(1, run.below(3));
        screen_.paintFor(run.moment(150ms));
        rules.expectEnd();
        const auto told = std::chrono::steady_clock::now();
        host.signal(run.below(2) == 0 ? SIGTERM : SIGINT);
        EXPECT_EQ(host.awaitEnd(), endedInOrder);
        tally_.longestEnd = std::max(tally_.longestEnd, since(told));
        run.end();
        ++tally_.restarts;
    }

    /// Connections that are in the host's way when it ends.
    static std::vector<HTTPClient> connect(ChaosRun& run) {
        std::vector<HTTPClient> clients(run.below(25));
        const std::string request = "GET " + frameTarget(run.idOf("Red")) + " HTTP/1.1\r\n\r\n";
        for (HTTPClient& client : clients) {
            client.send(std::string_view(request).substr(0, run.below(request.size() + 1)));
        }
        return clients;
    }

    const ChaosForm form_ = ChaosForm::fromEnvironment();
    ChaosTally tally_;
    PaintedScreen screen_;
    std::mt19937 random_{form_.seed};
};

TEST_F(ChaosOfRestarts, EachHostFindsItsPortFreeAndEndsInOrder) {
    while (tally_.restarts < static_cast<std::size_t>(form_.restarts)) {
        ASSERT_NO_FATAL_FAILURE(live());
    }
    tally_.tell("restarts", form_.seed);

    EXPECT_EQ(tally_.wrongAnswers, 0U);
    EXPECT_LT(tally_.longestEnd, grace + slack);
}

}  // namespace

}  // namespace velmora
