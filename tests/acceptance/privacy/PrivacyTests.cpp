#include <gtest/gtest.h>
#include <xcb/damage.h>
#include <xcb/shm.h>
#include <xcb/xproto.h>

#include <algorithm>
#include <csignal>
#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "tests/acceptance/privacy/CallTrace.h"
#include "tests/acceptance/privacy/XRequests.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

/// A host that is watched in all that it tells the system, and whose person has folders of their
/// own.
class Privacy : public HostTest {
  protected:
    Privacy() { painter_.fill({0, 0, 1280, 720}, 0x507030); }

    HostLaunch ownLaunch() const {
        HostLaunch launch = launchOn(server_);
        for (const char* const name : {"HOME", "TMPDIR", "XDG_RUNTIME_DIR", "XDG_CACHE_HOME"}) {
            launch.environment[name] = person_.path();
        }
        return launch;
    }
    void serveTraced() { serve(tracedInto(traceFile(), ownLaunch())); }
    /// What a listing, the first frame, the idle stop, and another listing had the host do.
    void lookAtTheScreen() {
        const std::string id = idOf("screen");
        ASSERT_EQ(HTTPClient::get("/").status(), 404);
        ASSERT_TRUE(frameOf(id).has_value());
        ASSERT_TRUE(eventually([&] { return host_->threadsNamed("capture.") == 0; }));
        painter_.fill({0, 0, 100, 100}, 0x102030);
        ASSERT_EQ(HTTPClient::get("/after").status(), 404);
        ASSERT_EQ(idOf("screen"), id);
    }
    std::vector<TracedCall> endTraced() {
        EXPECT_EQ(end(SIGTERM), endedInOrder);
        EXPECT_EQ(host_->readToEnd(), "");  // the tracer has this output, too
        return callsIn(traceFile());
    }
    std::filesystem::path traceFile() const { return trace_.path() / "calls"; }

    const TemporaryFolder person_;

  private:
    const TemporaryFolder trace_;
};

/// The number of the first call with which a request that begins so was received.
std::size_t receiptOf(const std::vector<TracedCall>& calls, std::string_view beginning) {
    const auto call = std::ranges::find_if(calls, [&](const TracedCall& candidate) {
        return candidate.name == "recvfrom" && candidate.texts().starts_with(beginning);
    });
    EXPECT_NE(call, calls.end()) << "nobody has seen " << beginning;
    return static_cast<std::size_t>(std::distance(calls.begin(), call));
}

/// Knows the requests of this server that read what is on the screen, or ask when it changes.
class ScreenReading final {
  public:
    explicit ScreenReading(const XServer& server) : client_(server.connect()) {}

    bool operator()(const XRequest& request) const {
        if (request.major() == XCB_GET_IMAGE) {
            // Whether the screen may be read is asked without a pixel: width and height are 0.
            constexpr std::size_t size = offsetof(xcb_get_image_request_t, width);
            return request.bytes.substr(size, 4) != std::string(4, '\0');
        }
        // Which version the server has is asked of no screen.
        return (request.major() == sharedMemory_ || request.major() == damage_) &&
               request.minor() != 0;
    }

  private:
    std::uint8_t majorOf(xcb_extension_t* extension) const {
        return ::xcb_get_extension_data(client_->connection(), extension)->major_opcode;
    }

    const std::unique_ptr<XClient> client_;
    const std::uint8_t sharedMemory_ = majorOf(&xcb_shm_id);
    const std::uint8_t damage_ = majorOf(&xcb_damage_id);
};

TEST_F(Privacy, TheScreenIsReadNeitherBeforeTheFirstFrameRequestNorAfterTheIdleStop) {
    serveTraced();
    lookAtTheScreen();
    const auto calls = endTraced();
    const std::size_t asked =
        receiptOf(calls, "GET " + std::string(ViewerHostProtocolV1::framePathPrefix));
    const std::size_t stopped = receiptOf(calls, "GET /after ");
    const ScreenReading isReading(server_);

    std::vector<std::size_t> readings;
    for (const XRequest& request : xRequestsIn(calls)) {
        if (isReading(request)) {
            readings.push_back(request.call);
        }
    }
    ASSERT_FALSE(readings.empty());
    EXPECT_GT(readings.front(), asked);
    EXPECT_LT(readings.back(), stopped);
    const auto between = [&](std::size_t first, std::size_t second) {
        return std::to_string(calls[second].time - calls[first].time);
    };
    RecordProperty("secondsFromTheRequestToTheFirstReading", between(asked, readings.front()));
    RecordProperty("secondsFromTheRequestToTheLastReading", between(asked, readings.back()));
}

TEST_F(Privacy, TheHostConnectsToItsXServerAndToNothingBeyondTheMachine) {
    serveTraced();
    lookAtTheScreen();
    std::set<std::string> families;
    std::size_t binds = 0;
    for (const TracedCall& call : endTraced()) {
        if (call.name == "connect") {
            const std::size_t family = call.arguments.find("sa_family=");
            families.insert(
                call.arguments.substr(family, call.arguments.find(',', family) - family));
        } else if (call.name == "bind") {
            EXPECT_NE(call.arguments.find("htons(9090)"), std::string::npos) << call.arguments;
            ++binds;
        } else {
            // Nothing is sent to an address of its own.
            EXPECT_FALSE(call.name.starts_with("send") &&
                         call.arguments.find("sa_family=AF_INET") != std::string::npos)
                << call.arguments;
        }
    }
    EXPECT_EQ(families, std::set<std::string>{"sa_family=AF_UNIX"});
    EXPECT_EQ(binds, 1U);
}

TEST_F(Privacy, TheHostOpensNoFileToWriteTo) {
    serveTraced();
    lookAtTheScreen();
    for (const TracedCall& call : endTraced()) {
        const bool isOpening = call.name.starts_with("open");
        const bool writes = call.arguments.find("O_WRONLY") != std::string::npos ||
                            call.arguments.find("O_RDWR") != std::string::npos ||
                            call.arguments.find("O_CREAT") != std::string::npos;
        const bool isMaking = call.name.starts_with("mk") || call.name.starts_with("symlink") ||
                              call.name.starts_with("link") || call.name.starts_with("rename") ||
                              call.name == "creat";
        if (call.result >= 0 && (isMaking || (isOpening && writes))) {
            EXPECT_EQ(call.texts(), "/dev/null");
        }
    }
    EXPECT_EQ(person_.entries(), 0U);
}

TEST_F(Privacy, AHostThatIsKilledWhileItCapturesLeavesNothing) {
    for (const int signal : {SIGKILL, SIGSEGV, SIGABRT}) {
        serve(leavingDumps(ownLaunch()));
        ASSERT_TRUE(frameOf(idOf("screen")).has_value());
        EXPECT_EQ(end(signal), (HostEnd{std::nullopt, signal}));
        EXPECT_EQ(person_.entries(), 0U);
    }
}

}  // namespace

}  // namespace velmora
