#include "tests/capture/linux/x11/DisplayListOnLoop.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <boost/asio/post.hpp>
#include <chrono>

#include "core/runtime/linux/ViewerBoottimeClock.h"
#include "tests/capture/linux/x11/X11Waiting.h"

namespace velmora {

boost::asio::io_context& DisplayListOnLoop::loop() {
    static auto* const everlasting = new boost::asio::io_context();
    everlasting->restart();
    return *everlasting;
}

std::shared_ptr<ViewerContinuousClock> DisplayListOnLoop::clock() {
    static auto* const everlasting =
        new std::shared_ptr<ViewerContinuousClock>(std::make_shared<ViewerBoottimeClock>(loop()));
    return *everlasting;
}

DisplayListOnLoop::DisplayListOnLoop(const std::string& displayName)
    : list_(std::make_shared<ViewerX11DisplayList>(
          loop().get_executor(), clock(), std::make_shared<ViewerX11Connector>(displayName))) {}

std::shared_ptr<DisplayListOnLoop::Answer> DisplayListOnLoop::ask() {
    auto answer = std::make_shared<Answer>();
    bool isAsked = false;
    boost::asio::post(loop(), [&] {
        list_->get([answer](Displays displays) {
            EXPECT_FALSE(answer->isThere) << "answered twice";
            answer->isThere = true;
            answer->displays = std::move(displays);
        });
        isAsked = true;
    });
    while (!isAsked) {
        loop().run_one();
    }
    return answer;
}

bool DisplayListOnLoop::wait(const Answer& answer) {
    const auto end = std::chrono::steady_clock::now() + X11Waiting::patience;
    while (!answer.isThere && std::chrono::steady_clock::now() < end) {
        loop().run_one_until(end);
    }
    return answer.isThere;
}

DisplayListOnLoop::Displays DisplayListOnLoop::get() {
    const auto answer = ask();
    EXPECT_TRUE(wait(*answer)) << "no answer";
    return answer->displays;
}

std::vector<std::string> DisplayListOnLoop::names() {
    const Displays displays = get();
    std::vector<std::string> names;
    for (const ViewerNativeDisplay& each :
         displays ? *displays : ViewerX11DisplayList::Displays()) {
        names.push_back(each.name.value_or("no name"));
    }
    std::sort(names.begin(), names.end());
    return names;
}

}  // namespace velmora
