#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "tests/acceptance/wayland/WaylandHostTest.h"

namespace velmora {

namespace {

using testing::AllOf;
using testing::HasSubstr;

/// What a run of the operator's program came to. A plain value.
struct ProgramRun final {
    int status = -1;
    std::string output;
};

ProgramRun run(const std::string& arguments) {
    ProgramRun result;
    FILE* const pipe = ::popen((VIEWERCTL_PATH " " + arguments).c_str(), "r");
    for (int byte = std::fgetc(pipe); byte != EOF; byte = std::fgetc(pipe)) {
        result.output += static_cast<char>(byte);
    }
    result.status = ::pclose(pipe);
    return result;
}

std::string quoted(const std::string& text) {
    return "'" + text + "'";
}

/// The operator's program, on a host that serves a red and a green output of a Wayland session.
class ViewerctlOnWayland : public SwayHostTest {};

TEST_F(ViewerctlOnWayland, ListsTheOutputsWithTheirSizes) {
    ASSERT_NO_FATAL_FAILURE(serve());
    const std::string left = idOf(red);
    const std::string right = idOf(green);
    const ProgramRun list = run("list 127.0.0.1");
    EXPECT_EQ(list.status, 0);
    EXPECT_THAT(list.output, AllOf(HasSubstr(left), HasSubstr(right), HasSubstr("1280 × 720")));
}

TEST_F(ViewerctlOnWayland, FetchesTheFrameOfTheOutputThatWasNamed) {
    ASSERT_NO_FATAL_FAILURE(serve());
    for (const std::uint32_t colour : {red, green}) {
        const ProgramRun frame = run("frame 127.0.0.1 " + quoted(idOf(colour)));
        EXPECT_EQ(frame.status, 0);
        const auto picture = JPEGPicture::decode(frame.output);
        ASSERT_TRUE(picture.has_value());
        EXPECT_TRUE(picture->isAll(colour, jpegTolerance));
    }
}

}  // namespace

}  // namespace velmora
