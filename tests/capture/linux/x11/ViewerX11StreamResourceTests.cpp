#include <gtest/gtest.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <ostream>
#include <sstream>
#include <string>

#include "tests/capture/linux/x11/CapturedMonitor.h"
#include "tests/capture/linux/x11/X11Waiting.h"

namespace velmora {
namespace {

std::size_t entriesOf(const std::string& folder) {
    std::size_t count = 0;
    for (const auto& each : std::filesystem::directory_iterator(folder)) {
        count += each.path().empty() ? 0U : 1U;
    }
    return count;
}

std::size_t mapsNamed(const std::string& text) {
    std::ifstream maps("/proc/self/maps");
    std::size_t count = 0;
    for (std::string line; std::getline(maps, line);) {
        count += line.find(text) != std::string::npos ? 1U : 0U;
    }
    return count;
}

/// How many segments of System V shared memory there are that this process has made. Other
/// processes of the machine make some, too.
std::size_t ownSegments() {
    std::ifstream table("/proc/sysvipc/shm");
    std::size_t count = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream fields(line);
        std::string key;
        std::string id;
        std::string permissions;
        std::string bytes;
        std::string maker;
        fields >> key >> id >> permissions >> bytes >> maker;
        count += maker == std::to_string(::getpid()) ? 1U : 0U;
    }
    return count;
}

/// What this process and a server hold. A plain value.
struct Holdings final {
    explicit Holdings(const XServer& server)
        : threads(entriesOf("/proc/self/task")),
          descriptors(entriesOf("/proc/self/fd")),
          sharedMaps(mapsNamed("viewer-capture")),
          segments(ownSegments()),
          serverDescriptors(entriesOf("/proc/" + std::to_string(server.processId()) + "/fd")) {}

    bool isWithin(const Holdings& other) const {
        return threads <= other.threads && descriptors <= other.descriptors &&
               sharedMaps <= other.sharedMaps && segments <= other.segments &&
               serverDescriptors <= other.serverDescriptors;
    }

    friend std::ostream& operator<<(std::ostream& stream, const Holdings& holdings) {
        return stream << holdings.threads << " threads, " << holdings.descriptors
                      << " descriptors, " << holdings.sharedMaps << " shared maps, "
                      << holdings.segments << " segments, " << holdings.serverDescriptors
                      << " descriptors of the server";
    }

    std::size_t threads;
    std::size_t descriptors;
    std::size_t sharedMaps;
    std::size_t segments;
    std::size_t serverDescriptors;
};

XServer::Options small() {
    XServer::Options options;
    options.width = 64;
    options.height = 48;
    return options;
}

TEST(ViewerX11StreamResource, APictureTravelsThroughSharedMemory) {
    const XServer server(small());
    CapturedMonitor monitor(server);

    ASSERT_TRUE(monitor.begin());
    EXPECT_EQ(Holdings(server).sharedMaps, 1U);

    ASSERT_TRUE(monitor.stop());
    EXPECT_EQ(Holdings(server).sharedMaps, 0U);
}

TEST(ViewerX11StreamResource, APictureOfAServerThatSharesNothingTravelsThroughTheSocket) {
    XServer::Options options = small();
    options.arguments = {"-extension", "MIT-SHM"};
    const XServer server(options);
    CapturedMonitor monitor(server);

    ASSERT_TRUE(monitor.begin());

    EXPECT_EQ(Holdings(server).sharedMaps, 0U);
}

TEST(ViewerX11StreamResource, TwoHundredCapturesLeaveNothingBehind) {
    const XServer server(small());
    {
        CapturedMonitor first(server);
        ASSERT_TRUE(first.begin());
    }
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("capture.7") == 0; }));
    EXPECT_TRUE(X11Waiting::until([] { return X11Waiting::threadsNamed("x11-connect") == 0; }));
    const Holdings before(server);

    for (int cycle = 0; cycle < 200; ++cycle) {
        CapturedMonitor monitor(server);
        if (cycle % 4 == 0) {
            ASSERT_TRUE(monitor.begin());
        } else if (cycle % 4 == 1) {
            (void)monitor.start();
        } else {
            monitor.stream().start([](bool) {});
        }
        if (cycle % 2 == 0) {
            ASSERT_TRUE(monitor.stop());
        }
    }

    EXPECT_TRUE(X11Waiting::until([&] { return Holdings(server).isWithin(before); }))
        << before << "; " << Holdings(server);
}

}  // namespace
}  // namespace velmora
