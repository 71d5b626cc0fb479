#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/acceptance/failing/CallFailure.h"
#include "tests/acceptance/failing/ServedScreen.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/host/SleepingClock.h"

namespace velmora {

/// Which calls fail, and where. Allocations apart: one that fails may end the process.
struct FailingCallPlace final {
    std::unique_ptr<ServedScreen> (*screen)() = nullptr;
    bool isAllocation = false;
    const char* name = "";
};

/// The id of the only display; empty when there is none, or another one too.
std::string onlyId();

/// A host of which every call of a name is refused in turn, while it does what a scenario asks of
/// it. Without the variable EVERY_FAILURE each call fails in its likeliest way alone, and of many
/// calls only some; FAILING_CALL_NAME limits them to one name. How many trials there were is told.
class FailingCallTest : public testing::TestWithParam<FailingCallPlace> {
  protected:
    /// What went wrong; empty when nothing did.
    using Complaint = std::string;
    using Trial = std::function<Complaint(const CallFailure& failure, int k)>;

    FailingCallTest();

    /// Tries every failure of every call that one undisturbed trial makes.
    void tryAll(const Trial& trial);

    HostLaunch launch();
    /// Starts a host and waits for its line.
    void serve(const HostLaunch& launch);
    /// Starts a host that serves, and lets it do everything once.
    void startServing();
    /// That shell command stands in for the program that shows alerts. Before a host starts.
    void showAlertsBy(const std::string& command);
    /// One trial on a host that serves: `act`, and then whether it is as it was before.
    Complaint tryServing(const CallFailure& failure, int k, const std::function<Complaint()>& act);

    /// What is wrong with how the host has ended, or was ended; a failed allocation may abort it,
    /// and so may whatever it cannot start without.
    Complaint complaintAboutEnd(const CallFailure& failure, bool mayAbort);

    /// What is wrong with an answer of a host that could not do something; none of those codes but
    /// 200 is a frame or a listing.
    Complaint complaintAbout(const HTTPAnswer& answer, const std::vector<int>& codes) const;
    Complaint exchange(std::string_view bytes, const std::vector<int>& codes) const;
    Complaint askForFrame() const;
    /// Ends captures and answered connections; what is wrong with what they leave.
    Complaint complaintAboutRest(const CallFailure& failure);
    void paintAnew();
    /// Ends captures and answered connections.
    void passTime();

    /// From which large allocation on those of a frame are as large as its picture says. On Wayland
    /// the stream itself is one.
    int firstPicture() const;

    /// First, because it says which user the test is.
    const std::unique_ptr<ServedScreen> screen_ = GetParam().screen();
    CallFailures calls_;
    std::unique_ptr<HostProcess> host_;
    std::string id_;

  private:
    Complaint complaintAboutLostConsent(const CallFailure& failure);
    Complaint complaintAfterwards(const CallFailure& failure);
    /// How many are there once no capture is.
    std::size_t restingDescriptors() const;
    std::size_t mostLeftBy(const CallFailure& failure) const;

    std::optional<SleepingClock> clock_;
    TemporaryFolder programs_;
    std::uint32_t colour_ = 0x306090;
    std::uint32_t colourBefore_ = 0;
    std::size_t descriptors_ = 0;
    std::size_t threads_ = 0;
};

}  // namespace velmora
