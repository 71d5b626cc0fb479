#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include <algorithm>
#include <boost/asio/io_context.hpp>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/login/ViewerLoginSessionWatch.h"
#include "tests/support/bus/BusPeer.h"
#include "tests/support/bus/PrivateBus.h"
#include "tests/support/bus/ScriptedLoginManager.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

/// A watch on a bus of its own, where a login manager answers or none. Time passes when a test says
/// so.
class LoginSessionOnBus : public testing::Test {
  public:
    LoginSessionOnBus() { environment_.set("DBUS_SYSTEM_BUS_ADDRESS", bus_->address()); }
    ~LoginSessionOnBus() override {
        watch_.reset();
        loop_.restart();
        loop_.poll();
        EXPECT_EQ(clock_->pendingTimers(), 0U) << "somebody still waits for something";
    }

  protected:
    void makeWatch() {
        watch_ = std::make_unique<ViewerLoginSessionWatch>(loop_.get_executor(), clock_,
                                                           [this] { ++ends_; });
    }
    /// A watch that knows its session, where there is one to be known.
    void watch() {
        makeWatch();
        pass(ViewerLoginSessionWatch::delay);
    }
    bool work() {
        loop_.restart();
        const bool isBusy = loop_.poll() != 0;
        return (manager_ && manager_->process()) || isBusy;
    }
    bool until(const std::function<bool()>& isDone) {
        constexpr std::chrono::seconds patience{30};
        const auto end = std::chrono::steady_clock::now() + patience;
        while (!isDone()) {
            if (std::chrono::steady_clock::now() > end) {
                return false;
            }
            if (!work()) {
                ::poll(nullptr, 0, 1);
            }
        }
        return true;
    }
    /// Lets everything happen that does not wait for time.
    void settle() {
        // The bus serves everybody in turn: when it has answered twice, all that was sent before
        // has gone on. A question and its answer take one round, and a look some of these.
        constexpr int rounds = 16;
        for (int round = 0; round < rounds; ++round) {
            (void)work();
            if (bus_) {
                ping();
                ping();
            }
        }
    }
    void pass(ViewerContinuousClock::Duration time) {
        settle();
        clock_->advance(time);
        settle();
    }
    std::size_t timesAsked(const std::string& what) const {
        return static_cast<std::size_t>(
            std::count(manager_->asked.begin(), manager_->asked.end(), what));
    }
    /// How many connections the bus has, this function's own not among them.
    std::size_t connections() {
        const BusPeer observer(bus_->address(), {}, nullptr);
        sd_bus_message* reply = nullptr;
        (void)sd_bus_call_method(observer.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "ListNames", nullptr, &reply, "");
        std::size_t count = 0;
        const char* name = nullptr;
        sd_bus_message_enter_container(reply, 'a', "s");
        while (sd_bus_message_read(reply, "s", &name) > 0) {
            count += *name == ':' ? 1U : 0U;
        }
        sd_bus_message_unref(reply);
        return count - 1;
    }
    /// Something is announced, and looked at.
    void expectALook() {
        manager_->asked.clear();
        manager_->announceNewSession();
        settle();
        EXPECT_THAT(manager_->asked, testing::ElementsAre("State"));
    }
    void expectNoEnd() {
        settle();
        EXPECT_EQ(ends_, 0);
    }
    void expectTheEnd() {
        EXPECT_TRUE(until([this] { return ends_ != 0; }));
        pass(std::chrono::minutes(1));
        EXPECT_EQ(ends_, 1);
    }

    std::optional<PrivateBus> bus_{std::in_place};
    BorrowedEnvironment environment_;
    std::optional<ScriptedLoginManager> manager_{bus_->address()};
    boost::asio::io_context loop_;
    const std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::unique_ptr<ViewerLoginSessionWatch> watch_;
    int ends_ = 0;

    /// Returns when what was sent before is on its way on.
    void ping() {
        BusPeer& peer = peer_ ? *peer_ : peer_.emplace(bus_->address(), noNames_, nullptr);
        sd_bus_message* reply = nullptr;
        (void)sd_bus_call_method(peer.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                 "org.freedesktop.DBus", "GetId", nullptr, &reply, "");
        sd_bus_message_unref(reply);
    }

  private:
    const std::vector<std::string> noNames_;
    std::optional<BusPeer> peer_;
};

}  // namespace velmora
