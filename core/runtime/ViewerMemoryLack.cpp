#include "core/runtime/ViewerMemoryLack.h"

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr const char* reason = "there is no memory left";

/// How many attempts the thread makes, one within another.
thread_local int attempts = 0;

void memoryIsLacking() {
    if (attempts > 0) {
        throw ViewerMemoryLack();
    }
    viewerCheck(false, reason);
}

/// Asio's allocations do not come by the handler above.
void endByException() {
    const std::exception_ptr exception = std::current_exception();
    endIfMemoryLacked(exception);
    viewerCheck(false, "an exception that nobody catches");
}

}  // namespace

void endWhenMemoryIsLacking() {
    // There was none of ours before.
    (void)std::set_new_handler(memoryIsLacking);
    (void)std::set_terminate(endByException);
}

void endIfMemoryLacked(const std::exception_ptr& exception) {
    if (exception == nullptr) {
        return;
    }
    try {
        std::rethrow_exception(exception);
    } catch (const std::bad_alloc&) {
        viewerCheck(false, reason);
    } catch (...) {
        return;  // something else
    }
}

ViewerMemoryAttempt::ViewerMemoryAttempt() {
    ++attempts;
}

ViewerMemoryAttempt::~ViewerMemoryAttempt() {
    --attempts;
}

}  // namespace velmora
