#include "core/capture/linux/x11/ViewerX11DisplayReader.h"

#include <gtest/gtest.h>
#include <xcb/xproto.h>

#include <memory>

#include "core/capture/linux/x11/ViewerX11Reply.h"
#include "tests/support/x11/XClient.h"
#include "tests/support/x11/XServer.h"

namespace velmora {
namespace {

class ViewerX11DisplayReaderTest : public testing::Test {
  protected:
    /// Every client is told of that, whatever it has asked for.
    void changeKeyboard() {
        xcb_connection_t* const xcb = client_->connection();
        const xcb_keysym_t symbol = ++symbol_;
        xcb_change_keyboard_mapping(xcb, 1, xcb_get_setup(xcb)->max_keycode, 1, &symbol);
    }
    /// Asks when every notice of what was done before is there.
    bool hasChanged() {
        client_->finish();
        xcb_connection_t* const xcb = connection_->xcb();
        const ViewerX11Reply<xcb_get_input_focus_reply_t> behind(
            xcb_get_input_focus_reply(xcb, xcb_get_input_focus(xcb), nullptr));
        return reader_.hasChanged();
    }

    XServer server_;
    const std::unique_ptr<XClient> client_ = server_.connect();
    const std::shared_ptr<ViewerX11Connection> connection_ =
        ViewerX11Connection::connect(server_.displayName());
    ViewerX11DisplayReader reader_{connection_};

  private:
    xcb_keysym_t symbol_ = 'a';
};

TEST_F(ViewerX11DisplayReaderTest, NoChangeIsSeenBeforeTheFirstReading) {
    changeKeyboard();
    server_.setMonitor("left", {0, 0, 640, 720}, "screen");
    EXPECT_FALSE(hasChanged());
}

TEST_F(ViewerX11DisplayReaderTest, OnlyWhatConcernsDisplaysIsAChangeOnce) {
    ASSERT_TRUE(reader_.read().displays.has_value());
    EXPECT_FALSE(hasChanged());
    changeKeyboard();
    EXPECT_FALSE(hasChanged());
    server_.setMonitor("left", {0, 0, 640, 720}, "screen");
    changeKeyboard();
    EXPECT_TRUE(hasChanged());
    EXPECT_FALSE(hasChanged());
}

}  // namespace
}  // namespace velmora
