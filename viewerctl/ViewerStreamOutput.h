#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <memory>
#include <string>

#include "viewerctl/ViewerTask.h"

namespace velmora {

/// A descriptor that bytes stream to without the loop standing still while nobody takes them. Its
/// mode is given back at the end: others may have it, too. On the loop's thread.
class ViewerStreamOutput final {
  public:
    ViewerStreamOutput(boost::asio::io_context& loop, int descriptor);
    ~ViewerStreamOutput();
    ViewerStreamOutput(const ViewerStreamOutput&) = delete;
    ViewerStreamOutput& operator=(const ViewerStreamOutput&) = delete;

    /// Everything; false when it cannot be written, or was cancelled.
    ViewerTask<bool> send(std::shared_ptr<const std::string> bytes);
    void cancel();

  private:
    const int mode_;
    boost::asio::posix::stream_descriptor descriptor_;
};

}  // namespace velmora
