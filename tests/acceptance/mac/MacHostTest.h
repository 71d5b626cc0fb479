#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "tests/acceptance/mac/MacClient.h"
#include "tests/acceptance/mac/MacDesktop.h"
#include "tests/acceptance/mac/MacHost.h"
#include "tests/mac/MacTest.h"
#include "tests/mac/frameworks/screen/FakeStream.h"

namespace velmora {

/// A test of the whole host on the doubles. The desktop shows what the test fills it with.
class MacHostTest : public MacTest {
  protected:
    void TearDown() override;

    /// Starts the host and lets its listener become ready; what it wrote until then.
    std::string serve();

    /// One request of its own connection.
    HTTPAnswer get(std::string_view target) { return MacClient::get(*host_, target); }
    /// The target of the first display's frames.
    std::string frameTarget();
    HTTPAnswer frame() { return get(frameTarget()); }
    /// Whether it is a frame all of that colour.
    static bool shows(const HTTPAnswer& answer, std::uint32_t colour);

    static ScreenScript& script() { return ScreenScript::shared(); }
    /// The only stream that there is now.
    static std::shared_ptr<FakeStream> stream();
    /// Lets the stream deliver, and the host take it.
    void deliver(const FakeSample& sample);

    MacDesktop desktop_;
    std::unique_ptr<MacHost> host_;
};

}  // namespace velmora
