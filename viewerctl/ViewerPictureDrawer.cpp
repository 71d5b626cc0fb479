#include "viewerctl/ViewerPictureDrawer.h"

#include <boost/asio/post.hpp>
#include <mutex>
#include <thread>
#include <utility>

namespace velmora {

struct ViewerPictureDrawer::Desk final {
    std::mutex lock;
    // The lock guards all of these.
    std::optional<std::string> result;
    /// Nothing once the drawer is gone.
    ViewerPictureDrawer* drawer = nullptr;
};

ViewerPictureDrawer::ViewerPictureDrawer(boost::asio::io_context& loop,
                                         std::optional<ViewerPictureFormat> wanted)
    : loop_(loop),
      canvas_(std::make_shared<const ViewerTerminalCanvas>(wanted)),
      desk_(std::make_shared<Desk>()) {
    desk_->drawer = this;
}

ViewerPictureDrawer::~ViewerPictureDrawer() {
    const std::lock_guard guard(desk_->lock);
    desk_->drawer = nullptr;
}

std::optional<std::string> ViewerPictureDrawer::drawn(const ViewerTerminalCanvas& canvas,
                                                      const Request& request) {
    auto picture = ViewerDecodedPicture::decode(request.jpeg.span(),
                                                ViewerTerminalCanvas::widthOf(request.area),
                                                ViewerTerminalCanvas::heightOf(request.area));
    if (!picture) {
        return std::nullopt;
    }
    if (request.isDimmed) {
        picture->dim();
    }
    return canvas.draw(*picture, request.area, request.firstRow);
}

ViewerTask<std::optional<std::string>> ViewerPictureDrawer::draw(Request request) {
    if (isStopped_) {
        co_return std::nullopt;
    }
    done_ = std::make_unique<ViewerEvent>(loop_);
    std::thread([desk = desk_, canvas = canvas_, request = std::move(request)] {
        auto result = drawn(*canvas, request);
        const std::lock_guard guard(desk->lock);
        desk->result = std::move(result);
        if (desk->drawer != nullptr) {
            boost::asio::post(desk->drawer->loop_,
                              [drawer = desk->drawer] { drawer->done_->set(); });
        }
    }).detach();
    (void)co_await done_->wait();  // has no deadline of its own
    const std::lock_guard guard(desk_->lock);
    co_return isStopped_ ? std::nullopt : std::exchange(desk_->result, std::nullopt);
}

void ViewerPictureDrawer::stop() {
    isStopped_ = true;
    if (done_ != nullptr) {
        done_->set();
    }
}

}  // namespace velmora
