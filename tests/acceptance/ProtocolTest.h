#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "tests/acceptance/ServedHost.h"
#include "tests/support/system/HostAnswers.h"

namespace velmora {

/// A test of the protocol, from bytes to bytes, for whatever serves. The desktop is blue.
class Protocol : public testing::TestWithParam<ServedHostKind> {
  protected:
    static constexpr std::uint32_t blue = 0x3060c0;

    Protocol() { host_->fill({0, 0, 1280, 720}, blue); }

    void serve() { EXPECT_EQ(host_->start(), listeningLine); }
    /// All that answers these bytes.
    std::string bytesAfter(std::string_view request);
    HTTPAnswer get(std::string_view target);
    HTTPAnswer list();
    std::string idOf(const std::string& name) { return idIn(list(), name); }
    std::optional<JPEGPicture> frameOf(const std::string& id);
    /// Looks again and again until `holds`; false when that takes too long.
    bool eventually(const std::function<bool()>& holds);

    const std::unique_ptr<ServedHost> host_ = GetParam().make();
};

}  // namespace velmora
