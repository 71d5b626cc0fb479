#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <string>

#include "tests/support/host/HostTest.h"
#include "tests/support/host/SleepingClock.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

class Sleep : public HostTest {
  protected:
    Sleep() {
        painter_.fill({0, 0, 1280, 720}, 0x306090);
        HostLaunch launch = launchOn(server_);
        clock_.putInto(launch);
        serve(launch);
    }
    void TearDown() override {
        clock_.goOn();
        EXPECT_EQ(end(SIGTERM), endedInOrder);
    }

    SleepingClock clock_;
};

TEST_F(Sleep, ARequestWhoseTimeEndsDuringSleepIsCutOffAtTheWakeUp) {
    HTTPClient late;
    late.send("GET / HT");
    ASSERT_EQ(HTTPClient::get("/").status(), 404);  // so the one before it is served, too
    clock_.fallAsleep();
    ASSERT_FALSE(late.awaitBytes(0ms));

    clock_.wakeUpAfterAnHour();
    const HTTPAnswer answer = late.receive();
    EXPECT_EQ(answer.bytes, "");
    EXPECT_TRUE(answer.isWhole);
}

TEST_F(Sleep, ACaptureThatNobodyAskedForDuringSleepStopsAtTheWakeUp) {
    ASSERT_TRUE(frameOf(idOf("screen")).has_value());
    clock_.fallAsleep();
    ASSERT_EQ(host_->threadsNamed("capture."), 1U);

    clock_.wakeUpAfterAnHour();
    EXPECT_TRUE(eventually([&] { return host_->threadsNamed("capture.") == 0; }));
}

TEST_F(Sleep, AnAnsweredConnectionThatLingersIsClosedAtTheWakeUp) {
    HTTPClient client;
    clock_.fallAsleep();
    client.send("GET / HTTP/1.1\r\n\r\n");
    ASSERT_EQ(client.receive().status(), 404);
    ASSERT_TRUE(client.send("late"));
    ASSERT_EQ(HTTPClient::get("/").status(), 404);  // so the one before it waits for its time

    clock_.wakeUpAfterAnHour();
    EXPECT_TRUE(eventually([&] { return !client.send("later"); }));
}

TEST_F(Sleep, WhoAsksAfterTheWakeUpIsServed) {
    const std::string id = idOf("screen");
    ASSERT_TRUE(frameOf(id).has_value());
    clock_.fallAsleep();
    clock_.wakeUpAfterAnHour();
    ASSERT_TRUE(eventually([&] { return host_->threadsNamed("capture.") == 0; }));
    clock_.goOn();

    EXPECT_TRUE(frameOf(id).has_value());
}

}  // namespace

}  // namespace velmora
