#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/system/error_code.hpp>
#include <functional>
#include <memory>

#include "app/ViewerApplicationShell.h"

namespace velmora {

/// Switches off what `signal` does by itself, for the whole process: it is ignored, and blocked in
/// the calling thread and in every thread started from it, because the kernel drops an ignored
/// signal unless it is blocked. What a source then reads is what would else have been dropped, and
/// at no moment can the signal end the process.
void ignoreSignal(int signal);

/// A signalfd over one ignored signal on the main loop. Main thread only.
class ViewerLinuxSignalSource final : public ViewerSignalSource,
                                      public std::enable_shared_from_this<ViewerLinuxSignalSource> {
  public:
    /// Forgets an arrival from before.
    ViewerLinuxSignalSource(boost::asio::io_context& loop, int signal,
                            std::function<void()> handler);

    void resume();
    void cancel() override;

  private:
    void received(const boost::system::error_code& error);

    boost::asio::posix::stream_descriptor descriptor_;
    const std::function<void()> handler_;
};

}  // namespace velmora
