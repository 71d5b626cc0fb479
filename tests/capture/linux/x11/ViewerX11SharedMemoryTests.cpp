#include "core/capture/linux/x11/ViewerX11SharedMemory.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <memory>
#include <utility>

#include "core/capture/linux/x11/ViewerX11Connection.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

constexpr std::size_t memoryBytes = 4096;

/// Called once, when the memory of the next picture has been made.
std::function<void()>& whenMemoryIsMade() {
    static std::function<void()> action;
    return action;
}

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                      std::filesystem::directory_iterator()));
}

TEST(ViewerX11SharedMemory, IsSharedWithTheServerWithoutADescriptorThatStaysOpen) {
    const XServer server;
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    const std::size_t before = openDescriptors();

    const auto memory = ViewerX11SharedMemory::make(connection, memoryBytes);

    EXPECT_NE(memory, nullptr);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(ViewerX11SharedMemory, ThereIsNoneOnABrokenConnection) {
    const XServer server;
    const auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    connection->abort();
    EXPECT_EQ(ViewerX11SharedMemory::make(connection, memoryBytes), nullptr);
}

TEST(ViewerX11SharedMemory, ThatTheBrokenConnectionCannotSendLeavesNoDescriptor) {
    const XServer server;
    const std::size_t before = openDescriptors();
    auto connection = ViewerX11Connection::connect(server.displayName());
    ASSERT_NE(connection, nullptr);
    whenMemoryIsMade() = [&] { connection->abort(); };

    EXPECT_EQ(ViewerX11SharedMemory::make(connection, memoryBytes), nullptr);

    EXPECT_FALSE(whenMemoryIsMade());  // it came so far
    connection.reset();
    EXPECT_EQ(openDescriptors(), before);
}

}  // namespace
}  // namespace velmora

/// In place of the system's. NOLINTNEXTLINE(readability-identifier-naming): its name.
extern "C" int memfd_create(const char* name, unsigned int flags) noexcept {
    const int descriptor = static_cast<int>(::syscall(SYS_memfd_create, name, flags));
    if (const auto action = std::exchange(velmora::whenMemoryIsMade(), nullptr)) {
        action();
    }
    return descriptor;
}
