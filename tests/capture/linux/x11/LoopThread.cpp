#include "tests/capture/linux/x11/LoopThread.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <thread>

#include "core/runtime/linux/ViewerBoottimeClock.h"

namespace velmora {

namespace {

struct Loop final {
    Loop() {
        std::thread([this] { context.run(); }).detach();
    }

    boost::asio::io_context context;
    const boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work{
        context.get_executor()};
    const std::shared_ptr<ViewerContinuousClock> clock =
        std::make_shared<ViewerBoottimeClock>(context);
};

Loop& loop() {
    static auto* const everlasting = new Loop();
    return *everlasting;
}

}  // namespace

ViewerExecutor LoopThread::executor() {
    return loop().context.get_executor();
}

std::shared_ptr<ViewerContinuousClock> LoopThread::clock() {
    return loop().clock;
}

}  // namespace velmora
