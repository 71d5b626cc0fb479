#include "tests/capture/linux/x11/XFramebuffer.h"

#include <endian.h>
#include <stdlib.h>

#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <utility>
#include <vector>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// The start of a screen dump (XWDFile.h), as big-endian words.
struct Header final {
    static constexpr std::size_t size = 0;
    static constexpr std::size_t bytesPerRow = 12;
    static constexpr std::size_t colourCount = 19;
    static constexpr std::size_t bytesPerColour = 12;
};

}  // namespace

XFramebuffer::XFramebuffer(XServer::Options options) {
    std::string pattern = std::filesystem::temp_directory_path() / "viewer-fb-XXXXXX";
    viewerCheck(::mkdtemp(pattern.data()) != nullptr, "a folder for a screen cannot be made");
    folder_ = pattern;
    options.arguments.insert(options.arguments.end(), {"-fbdir", folder_});
    server_ = std::make_unique<XServer>(std::move(options));
}

XFramebuffer::~XFramebuffer() {
    server_.reset();
    std::error_code ignored;  // A folder left behind in the temporary folder harms nobody.
    std::filesystem::remove_all(folder_, ignored);
}

void XFramebuffer::fill(const ViewerRectangle& area, std::uint32_t colour) {
    std::fstream file(folder_ + "/Xvfb_screen0", std::ios::binary | std::ios::in | std::ios::out);
    std::array<std::uint32_t, Header::colourCount + 1> header{};
    file.read(reinterpret_cast<char*>(header.data()), sizeof header);
    const std::size_t pixels = be32toh(header[Header::size]) +
                               be32toh(header[Header::colourCount]) * Header::bytesPerColour;
    const std::vector<std::uint32_t> row(static_cast<std::size_t>(area.width), colour);
    for (std::int64_t y = area.y; y < area.bottom(); ++y) {
        const std::size_t start =
            pixels + static_cast<std::size_t>(y) * be32toh(header[Header::bytesPerRow]) +
            static_cast<std::size_t>(area.x) * sizeof colour;
        file.seekp(static_cast<std::streamoff>(start));
        file.write(reinterpret_cast<const char*>(row.data()),
                   static_cast<std::streamsize>(row.size() * sizeof colour));
    }
    file.flush();
    viewerCheck(file.good(), "a screen's memory cannot be written");
}

}  // namespace velmora
