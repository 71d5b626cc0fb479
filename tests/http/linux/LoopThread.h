#pragma once

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <functional>
#include <future>
#include <thread>

#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// A loop on a thread of its own, so that a test can be the loop's peer in plain blocking calls.
/// Stops, whatever is left to do, when it is destroyed.
class LoopThread final {
  public:
    LoopThread() = default;
    ~LoopThread() { stop(); }
    LoopThread(const LoopThread&) = delete;
    LoopThread& operator=(const LoopThread&) = delete;

    boost::asio::io_context& context() { return context_; }
    ViewerExecutor executor() { return context_.get_executor(); }

    /// Runs `function` on the loop and returns when that and what it posted has run.
    void run(std::function<void()> function) {
        std::promise<void> done;
        boost::asio::post(context_, [&] {
            function();
            boost::asio::post(context_, [&] { done.set_value(); });
        });
        done.get_future().get();
    }

    void stop() {
        context_.stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }

  private:
    boost::asio::io_context context_{1};
    boost::asio::executor_work_guard<boost::asio::io_context::executor_type> work_{
        context_.get_executor()};
    std::thread thread_{[this] { context_.run(); }};
};

}  // namespace velmora
