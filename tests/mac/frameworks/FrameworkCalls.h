#pragma once

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

namespace velmora {

/// What was asked of the frameworks, in order, one line a call. Any thread.
namespace FrameworkCalls {

void append(std::string call);

/// Notes a call with its facts, a space between them.
template <typename... Facts>
void note(std::string_view call, const Facts&... facts) {
    std::ostringstream line;
    line << call;
    ((line << ' ' << facts), ...);
    append(line.str());
}

/// The calls since the last time.
std::vector<std::string> take();

}  // namespace FrameworkCalls

}  // namespace velmora
