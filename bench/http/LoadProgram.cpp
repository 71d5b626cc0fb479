// Puts load on an HTTP server of this machine and prints what came of it:
//   load_client PORT PATH REQUESTS CONNECTIONS      so many connections at a time
//   load_client PORT PATH REQUESTS RATE/s           so many a second, whether they are answered or
//   not
// One line: errors, then the median, the 99th percentile and the longest in microseconds.

#include <sys/prctl.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "bench/http/LoadClient.h"

namespace velmora {

namespace {

std::size_t number(std::string_view text) {
    std::size_t result = 0;
    (void)std::from_chars(text.data(), text.data() + text.size(), result);  // else none: it is told
    return result;
}

double microseconds(std::chrono::nanoseconds time) {
    return std::chrono::duration<double, std::micro>(time).count();
}

}  // namespace

}  // namespace velmora

int main(int argumentCount, char** arguments) {
    constexpr int expectedArguments = 5;
    const std::string_view pace = argumentCount == expectedArguments ? arguments[4] : "";
    const std::size_t amount = velmora::number(pace);
    if (amount == 0) {
        (void)std::fputs("load_client PORT PATH REQUESTS CONNECTIONS|RATE/s\n", stderr);
        return EXIT_FAILURE;
    }
    velmora::LoadPlan plan;
    plan.port = static_cast<std::uint16_t>(velmora::number(arguments[1]));
    plan.request = "GET " + std::string(arguments[2]) + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    plan.requests = velmora::number(arguments[3]);
    if (pace.ends_with("/s")) {
        plan.interval = std::chrono::nanoseconds(std::chrono::seconds(1)) / amount;
        ::prctl(PR_SET_TIMERSLACK, 1);
    } else {
        plan.concurrency = amount;
    }
    const velmora::LoadResult result = velmora::runLoad(plan);
    std::printf("%zu %.1f %.1f %.1f\n", result.errors,
                velmora::microseconds(result.percentile(0.5)),
                velmora::microseconds(result.percentile(0.99)),
                velmora::microseconds(result.percentile(1)));
    return EXIT_SUCCESS;
}
