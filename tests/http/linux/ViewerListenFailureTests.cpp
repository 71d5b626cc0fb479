#include <gtest/gtest.h>
#include <sys/syscall.h>

#include <boost/asio/io_context.hpp>
#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerTaskHandle.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "core/runtime/linux/ViewerLoopExecutors.h"
#include "tests/http/linux/RefusedCall.h"
#include "tests/support/http/FakeFrameProvider.h"

namespace velmora {

namespace {

using Texts = std::vector<std::string>;

ViewerTask<void> startTwice(std::shared_ptr<ViewerHTTPServer> server,
                            std::shared_ptr<Texts> texts) {
    for (int i = 0; i < 2; ++i) {
        const auto outcome = co_await server->start();
        const auto* const failure = std::get_if<ViewerHTTPStartFailure>(&outcome);
        texts->push_back(failure != nullptr ? failure->errorDescription() : "started");
    }
}

/// A call of the system's that fails while a server starts, and the system's word for it.
struct Refusal final {
    int call;
    int error;
    const char* reason;
    std::uint16_t port;
};

/// What two starts of a real server yield, one after the other, where that call is refused.
Texts startsUnder(const Refusal& refusal) {
    boost::asio::io_context loop{1};
    ViewerLoopExecutors executors(loop.get_executor());
    const auto clock = std::make_shared<ViewerBoottimeClock>(loop);
    const auto server =
        std::make_shared<ViewerHTTPServer>(std::make_shared<FakeFrameProvider>(), refusal.port,
                                           "Studio", makeTransport(clock), executors, clock);
    const auto texts = std::make_shared<Texts>();
    if (refuseCall(refusal.call, refusal.error)) {
        (void)startTask(loop.get_executor(), startTwice(server, texts));
        loop.run();
    }
    return *texts;
}

class ViewerListenFailure : public testing::TestWithParam<Refusal> {};

TEST_P(ViewerListenFailure, NamesThePortAndTheSystemsReasonAndIsTheListenersOwn) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    const Refusal& refusal = GetParam();
    const Texts expected{"Viewer Host could not start: TCP port " + std::to_string(refusal.port) +
                             ": " + refusal.reason,
                         "Viewer Host could not start: already started"};
    EXPECT_EXIT(
        {
            const Texts texts = startsUnder(refusal);
            for (const std::string& text : texts) {
                std::cerr << text << '\n';
            }
            std::_Exit(texts == expected ? EXIT_SUCCESS : EXIT_FAILURE);
        },
        testing::ExitedWithCode(EXIT_SUCCESS), "");
}

INSTANTIATE_TEST_SUITE_P(
    Calls, ViewerListenFailure,
    testing::Values(Refusal{SYS_socket, EMFILE, "Too many open files", 9090},
                    Refusal{SYS_socket, EAFNOSUPPORT, "Address family not supported by protocol",
                            9090},
                    Refusal{SYS_setsockopt, ENOMEM, "Cannot allocate memory", 9090},
                    Refusal{SYS_bind, EACCES, "Permission denied", 9090},
                    Refusal{SYS_bind, EADDRINUSE, "Address already in use", 9090},
                    Refusal{SYS_listen, EADDRINUSE, "Address already in use", 0}));

}  // namespace

}  // namespace velmora
