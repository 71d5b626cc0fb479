#include "tests/capture/linux/wayland/portal/PortalOnBus.h"

#include <poll.h>

#include <algorithm>
#include <chrono>

#include "core/capture/linux/wayland/portal/ViewerPortalScreenCastFactory.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};

}  // namespace

PortalOnBus::PortalOnBus() {
    environment_.set("DBUS_SESSION_BUS_ADDRESS", bus_.address());
    environment_.set("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent");
    portal_.emplace(bus_);
    makeConsent();
}

PortalOnBus::~PortalOnBus() {
    consent_.reset();
    loop_.restart();
    loop_.poll();
    EXPECT_EQ(clock_->pendingTimers(), 0U) << "somebody still waits for something";
}

void PortalOnBus::makeConsent() {
    consent_ = makePortalScreenCast(loop_.get_executor(), clock_);
    consent_->watch([this] { told_.push_back(consent_->state()); });
    answers_.clear();
    told_.clear();
}

bool PortalOnBus::until(const std::function<bool()>& isDone) {
    const auto end = std::chrono::steady_clock::now() + patience;
    while (!isDone()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        loop_.restart();
        bool isBusy = loop_.poll() != 0;
        isBusy = (portal_ && portal_->process()) || isBusy;
        for (const auto& other : others_) {
            isBusy = other->process() || isBusy;
        }
        if (!isBusy) {
            ::poll(nullptr, 0, 1);
        }
    }
    return true;
}

void PortalOnBus::settle() {
    // The bus serves everybody in turn: when it has answered a call twice, all that was sent before
    // has gone on. A message and its answer take one round, and a request some of these.
    constexpr int rounds = 12;
    for (int round = 0; round < rounds; ++round) {
        loop_.restart();
        loop_.poll();
        if (portal_) {
            portal_->ping();
            portal_->ping();
            portal_->process();
        }
        for (const auto& other : others_) {
            other->process();
        }
    }
}

void PortalOnBus::pass(ViewerContinuousClock::Duration time) {
    settle();
    clock_->advance(time);
    settle();
}

void PortalOnBus::request() {
    consent_->request([this](Access access) { answers_.push_back(access); });
}

ViewerCaptureAccess PortalOnBus::answerToRequest() {
    request();
    EXPECT_TRUE(until([this] { return !answers_.empty(); }));
    viewerCheck(answers_.size() == 1, "a request is answered once");
    return answers_.front();
}

bool PortalOnBus::wasAsked(const std::string& call) const {
    return timesAsked(call) != 0;
}

std::size_t PortalOnBus::timesAsked(const std::string& call) const {
    return static_cast<std::size_t>(std::count(portal_->calls.begin(), portal_->calls.end(), call));
}

void PortalOnBus::openDialog() {
    portal_->undecided.insert("Start");
    request();
    EXPECT_TRUE(until([this] { return wasAsked("Start"); }));
    settle();
}

void PortalOnBus::grant() {
    EXPECT_EQ(answerToRequest(), Access::granted);
    settle();
}

void PortalOnBus::interrupt() {
    consent_->outputsHaveChanged();
    portal_->closeSession();
    EXPECT_TRUE(until([this] { return consent_->state() == State::interrupted; }));
    settle();
}

std::optional<int> PortalOnBus::remote() {
    std::optional<int> received;
    consent_->openRemote([&](int descriptor) { received = descriptor; });
    EXPECT_TRUE(until([&] { return received.has_value(); }));
    return received;
}

std::vector<std::string> PortalOnBus::namesOnBus() {
    BusPeer observer(bus_.address(), {}, nullptr);
    sd_bus_message* reply = nullptr;
    viewerCheck(sd_bus_call_method(observer.bus(), "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                   "org.freedesktop.DBus", "ListNames", nullptr, &reply, "") >= 0,
                "a bus tells who is on it");
    std::vector<std::string> names;
    const char* name = nullptr;
    sd_bus_message_enter_container(reply, 'a', "s");
    while (sd_bus_message_read(reply, "s", &name) > 0) {
        names.emplace_back(name);
    }
    sd_bus_message_unref(reply);
    return names;
}

}  // namespace velmora
