#include "tests/mac/frameworks/FrameworkCalls.h"

#include <mutex>
#include <utility>

namespace velmora {

namespace {

struct Calls final {
    std::mutex lock;
    std::vector<std::string> noted;
};

Calls& calls() {
    static auto& calls = *new Calls();
    return calls;
}

}  // namespace

void FrameworkCalls::append(std::string call) {
    const std::lock_guard guard(calls().lock);
    calls().noted.push_back(std::move(call));
}

std::vector<std::string> FrameworkCalls::take() {
    const std::lock_guard guard(calls().lock);
    return std::exchange(calls().noted, {});
}

}  // namespace velmora
