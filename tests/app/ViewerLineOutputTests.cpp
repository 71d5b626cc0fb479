#include "app/ViewerLineOutput.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <string>
#include <thread>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr auto generous = 20s;

/// A pipe, and the process as the shell leaves it: a broken pipe is no signal.
class ViewerLineOutput : public testing::Test {
  public:
    ViewerLineOutput() : broken_(std::signal(SIGPIPE, SIG_IGN)) {
        EXPECT_EQ(::pipe2(ends_.data(), O_CLOEXEC), 0);
    }
    ~ViewerLineOutput() override {
        closeReader();
        ::close(writer());
        (void)std::signal(SIGPIPE, broken_);
    }
    ViewerLineOutput(const ViewerLineOutput&) = delete;
    ViewerLineOutput& operator=(const ViewerLineOutput&) = delete;

  protected:
    int reader() const { return ends_[0]; }
    int writer() const { return ends_[1]; }
    void closeReader() {
        ::close(ends_[0]);
        ends_[0] = -1;
    }

    /// Leaves room for `room` more bytes.
    void fillUpTo(std::size_t room) {
        const int capacity = ::fcntl(writer(), F_SETPIPE_SZ, 4096);
        ASSERT_EQ(capacity, 4096);
        const std::string filling(4096 - room, '.');
        ASSERT_EQ(::write(writer(), filling.data(), filling.size()),
                  static_cast<ssize_t>(filling.size()));
    }

    std::string readUpTo(std::size_t size) {
        std::string text(size, '\0');
        std::size_t count = 0;
        while (count < size) {
            const ssize_t got = ::read(reader(), text.data() + count, size - count);
            if (got <= 0) {
                break;
            }
            count += static_cast<std::size_t>(got);
        }
        text.resize(count);
        return text;
    }

  private:
    using Disposition = void (*)(int);

    const Disposition broken_;
    std::array<int, 2> ends_{-1, -1};
};

TEST_F(ViewerLineOutput, WritesTheLineAndALineFeedAtOnce) {
    writeLine(writer(), "ready", generous);

    EXPECT_EQ(readUpTo(6), "ready\n");
}

TEST_F(ViewerLineOutput, GivesUpWhenTheReaderIsGone) {
    closeReader();
    const auto begin = std::chrono::steady_clock::now();
    writeLine(writer(), "ready", generous);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, generous);
}

TEST_F(ViewerLineOutput, GivesUpWhenTheDiskIsFull) {
    const int full = ::open("/dev/full", O_WRONLY | O_CLOEXEC);
    ASSERT_GE(full, 0);
    const auto begin = std::chrono::steady_clock::now();
    writeLine(full, "ready", generous);

    EXPECT_LT(std::chrono::steady_clock::now() - begin, generous);
    ::close(full);
}

TEST_F(ViewerLineOutput, GivesUpWhenNobodyReadsAFullPipe) {
    fillUpTo(0);
    const auto begin = std::chrono::steady_clock::now();
    writeLine(writer(), "ready", 30ms);

    EXPECT_GE(std::chrono::steady_clock::now() - begin, 30ms);
}

TEST_F(ViewerLineOutput, WaitsForAReaderThatIsLate) {
    fillUpTo(0);
    std::thread late([this] { EXPECT_EQ(readUpTo(4096), std::string(4096, '.')); });
    writeLine(writer(), "ready", generous);
    late.join();

    EXPECT_EQ(readUpTo(6), "ready\n");
}

TEST_F(ViewerLineOutput, GoesOnAfterAPartOfTheLineOnADescriptorThatNeverBlocks) {
    ASSERT_EQ(::fcntl(writer(), F_SETPIPE_SZ, 4096), 4096);
    ASSERT_EQ(::fcntl(writer(), F_SETFL, O_NONBLOCK), 0);
    const std::string line(10'000, 'x');
    std::thread other([&] { EXPECT_EQ(readUpTo(line.size() + 1), line + "\n"); });
    writeLine(writer(), line, generous);

    other.join();
}

}  // namespace

}  // namespace velmora
