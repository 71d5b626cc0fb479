#pragma once

#include <gtest/gtest.h>

#include <boost/asio/io_context.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/wayland/ViewerScreenCast.h"
#include "tests/support/bus/BusPeer.h"
#include "tests/support/bus/PrivateBus.h"
#include "tests/support/bus/ScriptedPortal.h"
#include "tests/support/runtime/ManualClock.h"
#include "tests/support/system/BorrowedEnvironment.h"

namespace velmora {

/// The real consent of a process on a real bus, where a scripted portal answers. Time passes when a
/// test says so. One thread.
class PortalOnBus : public testing::Test {
  public:
    PortalOnBus();
    ~PortalOnBus() override;

  protected:
    using Access = ViewerCaptureAccess;
    using State = ViewerScreenCast::State;

    /// A consent that has been asked nothing yet, in the place of any other.
    void makeConsent();
    /// Lets everybody work until `isDone`; false when that takes unreasonably long.
    bool until(const std::function<bool()>& isDone);
    /// Lets everything happen that does not wait for time.
    void settle();
    void pass(ViewerContinuousClock::Duration time);
    void request();
    /// Asks, and waits for the answer.
    Access answerToRequest();
    bool wasAsked(const std::string& call) const;
    std::size_t timesAsked(const std::string& call) const;
    /// Asks, and waits until the dialog is open.
    void openDialog();
    /// A session that is granted.
    void grant();
    /// A granted session is closed, for a reason that is not the person's.
    void interrupt();
    /// What comes for a PipeWire connection; the receiver's to close.
    std::optional<int> remote();
    std::vector<std::string> namesOnBus();

    PrivateBus bus_;
    BorrowedEnvironment environment_;
    boost::asio::io_context loop_;
    std::shared_ptr<ManualClock> clock_ = std::make_shared<ManualClock>();
    std::optional<ScriptedPortal> portal_;
    /// Others on the bus.
    std::vector<std::unique_ptr<BusPeer>> others_;
    std::shared_ptr<ViewerScreenCast> consent_;
    std::vector<Access> answers_;
    std::vector<State> told_;
};

}  // namespace velmora
