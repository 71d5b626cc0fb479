#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/http/ViewerTransport.h"
#include "core/runtime/mac/ViewerDispatchExecutors.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/network/FakeListener.h"

namespace velmora {

/// A listener of the program's, made but not started, and the same seen from outside.
class ListenedWorld : public MacTest {
  protected:
    using States = std::vector<std::pair<ViewerListenerState, std::string>>;

    void SetUp() override { makeListener(); }
    void TearDown() override;

    /// Another listener in place of the one before.
    void makeListener();
    /// Starts the listener, and lets a client connect and the program take the connection.
    std::shared_ptr<FakeConnection> accept();

    ViewerDispatchExecutors executors_;
    ViewerExecutor queue_;
    std::shared_ptr<ViewerListener> listener_;
    std::shared_ptr<FakeListener> fakeListener_;
    /// What the listener's handlers were told.
    States states_;
    std::vector<std::shared_ptr<ViewerConnection>> connections_;
};

}  // namespace velmora
