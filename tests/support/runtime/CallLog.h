#pragma once

#include <memory>
#include <string>
#include <vector>

namespace velmora {

/// What scripted services were asked for, in order, also between services that share a log. One
/// thread.
using CallLog = std::shared_ptr<std::vector<std::string>>;

inline CallLog makeCallLog() {
    return std::make_shared<std::vector<std::string>>();
}

}  // namespace velmora
