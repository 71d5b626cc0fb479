#include "core/capture/linux/x11/ViewerX11RootReader.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/capture/linux/x11/ViewerX11PixelForm.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

/// A server whose pixels are 2 bytes each.
class NarrowScreen final {
  public:
    explicit NarrowScreen(std::vector<std::string> arguments = {})
        : server_(options(std::move(arguments))) {
        XPainter(server_).fill({0, 0, 64, 48}, 0xff0000);
    }

    const std::uint8_t* read(const std::optional<ViewerPixelForm>& form) {
        reader_ = std::make_unique<ViewerX11RootReader>(connection_, *form);
        reader_->request(0, {1, 1, 5, 3});
        return reader_->wait(0);
    }
    const ViewerX11Connection& connection() const { return *connection_; }

  private:
    static XServer::Options options(std::vector<std::string> arguments) {
        XServer::Options result;
        result.width = 64;
        result.height = 48;
        result.depth = 16;
        result.arguments = std::move(arguments);
        return result;
    }

    const XServer server_;
    const std::shared_ptr<ViewerX11Connection> connection_ =
        ViewerX11Connection::connect(server_.displayName());
    std::unique_ptr<ViewerX11RootReader> reader_;
};

TEST(ViewerX11RootReader, AnAnswerOfAnotherSizeIsNone) {
    const auto plain = ViewerPixelForm::make({});
    NarrowScreen shared;
    EXPECT_EQ(shared.read(plain), nullptr);
    NarrowScreen unshared({"-extension", "MIT-SHM"});
    EXPECT_EQ(unshared.read(plain), nullptr);
}

TEST(ViewerX11RootReader, APixelHasFourBytesWhateverTheServerHas) {
    NarrowScreen screen;
    const std::uint8_t* const pixels = screen.read(ViewerX11PixelForm::of(screen.connection()));
    ASSERT_NE(pixels, nullptr);
    for (std::size_t pixel = 0; pixel < 15; ++pixel) {
        EXPECT_EQ(pixels[4 * pixel], 0);
        EXPECT_EQ(pixels[4 * pixel + 1], 0);
        EXPECT_EQ(pixels[4 * pixel + 2], 255);
    }
}

TEST(ViewerX11RootReader, WhatIsNotOnTheScreenIsRefused) {
    XServer::Options unshared;
    unshared.arguments = {"-extension", "MIT-SHM"};
    for (const XServer::Options& options : {XServer::Options(), unshared}) {
        const XServer server(options);
        const auto connection = ViewerX11Connection::connect(server.displayName());
        ViewerX11RootReader reader(connection, *ViewerX11PixelForm::of(*connection));
        reader.request(0, {1279, 719, 2, 1});
        EXPECT_EQ(reader.wait(0), nullptr);
    }
}

}  // namespace
}  // namespace velmora
