#include "core/capture/linux/wayland/pipewire/ViewerPipeWireMemory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <numeric>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace velmora {
namespace {

/// How many parts of the file are mapped into this process.
int mappedParts(const std::string& file) {
    int result = 0;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        result += line.find("memfd:" + file) != std::string::npos ? 1 : 0;
    }
    return result;
}

/// A buffer whose picture lies in a memory file, or in memory that is mapped already.
class ViewerPipeWireMemoryTest : public testing::Test {
  protected:
    ViewerPipeWireMemoryTest() {
        std::iota(written_.begin(), written_.end(), std::uint8_t{0});
        EXPECT_EQ(::write(file_, written_.data(), written_.size()),
                  static_cast<ssize_t>(written_.size()));
        data_.type = SPA_DATA_MemFd;
        data_.fd = file_;
        data_.mapoffset = 5000;
        data_.maxsize = 3000;
        data_.data = written_.data();
        data_.chunk = &chunk_;
    }
    void TearDown() override { ::close(file_); }

    std::vector<std::uint8_t> read() const {
        const ViewerPipeWireMemory memory(buffer_);
        return {memory.bytes().begin(), memory.bytes().end()};
    }
    bool isEmpty() const { return read().empty(); }

    std::vector<std::uint8_t> written_ = std::vector<std::uint8_t>(8000);
    const int file_ = ::memfd_create("picture", MFD_CLOEXEC);
    spa_chunk chunk_{};
    spa_data data_{};
    spa_buffer buffer_{0, 1, nullptr, &data_};
};

TEST_F(ViewerPipeWireMemoryTest, IsThePartOfTheFileThatTheBufferTells) {
    EXPECT_EQ(read(), std::vector<std::uint8_t>(written_.begin() + 5000, written_.end()));
}

TEST_F(ViewerPipeWireMemoryTest, IsWherePipeWireHasMappedIt) {
    data_.type = SPA_DATA_MemPtr;

    EXPECT_EQ(ViewerPipeWireMemory(buffer_).bytes().data(), written_.data());
    EXPECT_EQ(ViewerPipeWireMemory(buffer_).bytes().size(), 3000U);
    data_.data = nullptr;
    EXPECT_TRUE(isEmpty());
}

TEST_F(ViewerPipeWireMemoryTest, IsNoneOfAnotherKind) {
    data_.type = SPA_DATA_DmaBuf;
    EXPECT_TRUE(isEmpty());
}

TEST_F(ViewerPipeWireMemoryTest, IsNoneOfABufferWithoutAnything) {
    buffer_.n_datas = 0;
    EXPECT_TRUE(isEmpty());
    buffer_.n_datas = 1;
    data_.chunk = nullptr;
    EXPECT_TRUE(isEmpty());
    data_.chunk = &chunk_;
    data_.maxsize = 0;
    EXPECT_TRUE(isEmpty());
}

TEST_F(ViewerPipeWireMemoryTest, IsNoneBeyondTheFilesEnd) {
    data_.maxsize = 3001;
    EXPECT_TRUE(isEmpty());
    data_.maxsize = 3000;
    data_.fd = -1;
    EXPECT_TRUE(isEmpty());
}

TEST_F(ViewerPipeWireMemoryTest, IsNoMoreOnceTheFileIsShorter) {
    const ViewerPipeWireMemory memory(buffer_);
    ASSERT_EQ(memory.bytes().size(), 3000U);

    ASSERT_EQ(::ftruncate(file_, 7999), 0);

    EXPECT_TRUE(memory.bytes().empty());
}

TEST_F(ViewerPipeWireMemoryTest, IsNoneOfAFileThatCannotBeRead) {
    const std::string path = "/proc/self/fd/" + std::to_string(file_);
    const int unreadable = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_GE(unreadable, 0);
    data_.fd = unreadable;

    EXPECT_TRUE(isEmpty());

    ::close(unreadable);
}

TEST_F(ViewerPipeWireMemoryTest, IsMappedAsLongAsItIsThere) {
    std::optional<ViewerPipeWireMemory> memory(std::in_place, buffer_);
    EXPECT_EQ(mappedParts("picture"), 1);

    memory.reset();

    EXPECT_EQ(mappedParts("picture"), 0);
}

}  // namespace
}  // namespace velmora
