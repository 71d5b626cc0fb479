#include "core/capture/linux/x11/ViewerX11DisplayList.h"

#include <boost/asio/post.hpp>
#include <boost/system/error_code.hpp>
#include <iterator>

#include "core/capture/linux/x11/ViewerX11Thread.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

void answer(std::vector<ViewerX11DisplayList::Completion> waiting,
            const std::shared_ptr<const ViewerX11DisplayList::Displays>& displays) {
    for (const ViewerX11DisplayList::Completion& each : waiting) {
        each(displays);
    }
}

}  // namespace

ViewerX11DisplayList::ViewerX11DisplayList(ViewerExecutor executor,
                                           std::shared_ptr<ViewerX11Connector> connector)
    : executor_(std::move(executor)), connector_(std::move(connector)) {}

ViewerX11DisplayList::~ViewerX11DisplayList() {
    giveUp();
}

bool ViewerX11DisplayList::hasAccess() {
    viewerCheck(std::this_thread::get_id() == thread_, "the display list stays on its thread");
    // Nobody lists displays who may not, so that here alone the end of such a server is noticed.
    if (access_ == false) {
        takeNotices();
    }
    return access_.value_or(true);
}

void ViewerX11DisplayList::get(Completion completion) {
    viewerCheck(std::this_thread::get_id() == thread_, "the display list stays on its thread");
    if (refresh_) {
        (refresh_->isReading ? refresh_->cameLater : refresh_->waiting)
            .push_back(std::move(completion));
        return;
    }
    takeNotices();
    if (isFresh_) {
        completion(displays_);
    } else {
        startRefresh({std::move(completion)});
    }
}

void ViewerX11DisplayList::takeNotices() {
    if (refresh_ || !reader_) {
        return;
    }
    if (reader_->hasChanged()) {
        isFresh_ = false;
    }
    if (reader_->isDead()) {
        forgetConnection();
    }
}

void ViewerX11DisplayList::startRefresh(Waiting waiting) {
    refresh_.emplace(executor_, ++lastRefresh_, std::move(waiting));
    refresh_->deadline.expires_after(refreshLimit);
    refresh_->deadline.async_wait(
        [list = weak_from_this(), id = refresh_->id](const boost::system::error_code&) {
            const auto self = list.lock();
            if (self && self->isCurrent(id)) {
                self->giveUp();
            }
        });
    if (reader_) {
        read();
    } else {
        connect();
    }
}

void ViewerX11DisplayList::connect() {
    refresh_->request =
        connector_->connect([list = weak_from_this(), executor = executor_,
                             id = refresh_->id](std::shared_ptr<ViewerX11Connection> connection) {
            boost::asio::post(executor, [list, id, connection = std::move(connection)] {
                const auto self = list.lock();
                if (self && self->isCurrent(id)) {
                    self->connected(connection);
                }
            });
        });
}

void ViewerX11DisplayList::connected(const std::shared_ptr<ViewerX11Connection>& connection) {
    if (connection == nullptr) {
        finished({});
        return;
    }
    reader_ = std::make_shared<ViewerX11DisplayReader>(connection);
    read();
}

void ViewerX11DisplayList::read() {
    refresh_->isReading = true;
    const auto work = [list = weak_from_this(), executor = executor_, id = refresh_->id,
                       reader = reader_] {
        boost::asio::post(executor, [list, id, result = reader->read()]() mutable {
            const auto self = list.lock();
            if (self && self->isCurrent(id)) {
                self->finished(std::move(result));
            }
        });
    };
    if (!startX11Thread("x11-displays", work)) {
        finished({});
    }
}

void ViewerX11DisplayList::finished(ViewerX11Displays result) {
    Refresh done = std::move(*refresh_);
    refresh_.reset();
    keep(std::move(result));
    const std::shared_ptr<const Displays> displays = displays_;
    if (!done.cameLater.empty()) {
        takeNotices();
        if (isFresh_) {
            std::move(done.cameLater.begin(), done.cameLater.end(),
                      std::back_inserter(done.waiting));
        } else {
            startRefresh(std::move(done.cameLater));
        }
    }
    answer(std::move(done.waiting), displays);
}

void ViewerX11DisplayList::keep(ViewerX11Displays result) {
    access_ = result.access;
    isFresh_ = result.displays.has_value() && result.isSettled;
    if (!result.displays) {
        displays_ = nullptr;
    } else if (!displays_ || *displays_ != *result.displays) {
        displays_ = std::make_shared<const Displays>(std::move(*result.displays));
    }
}

void ViewerX11DisplayList::forgetConnection() {
    reader_ = nullptr;
    access_ = std::nullopt;
    isFresh_ = false;
}

void ViewerX11DisplayList::giveUp() {
    if (!refresh_) {
        return;
    }
    Refresh failed = std::move(*refresh_);
    refresh_.reset();
    if (failed.isReading) {
        // The thread that is stuck in the connection goes on with an error.
        reader_->abort();
    } else {
        connector_->withdraw(failed.request);
    }
    forgetConnection();
    keep({});
    answer(std::move(failed.waiting), nullptr);
    answer(std::move(failed.cameLater), nullptr);
}

}  // namespace velmora
