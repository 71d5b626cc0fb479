#pragma once

#include <boost/asio/io_context.hpp>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/x11/ViewerX11DisplayList.h"

namespace velmora {

/// A display list on a real loop, which runs only while a test waits for an answer.
class DisplayListOnLoop final {
  public:
    using Displays = std::shared_ptr<const ViewerX11DisplayList::Displays>;

    /// What came of one call.
    struct Answer final {
        bool isThere = false;
        Displays displays;
    };

    explicit DisplayListOnLoop(const std::string& displayName);

    ViewerX11DisplayList& list() { return *list_; }
    /// Gives the list up.
    void drop() { list_.reset(); }
    /// Asks on the loop, and does not wait: the answer is filled in when it comes.
    std::shared_ptr<Answer> ask();
    /// Runs the loop until the answer is there. False when it does not come in time.
    bool wait(const Answer& answer);
    /// Asks and waits; null also when no answer comes.
    Displays get();
    /// The names of the displays after a new listing, sorted.
    std::vector<std::string> names();
    /// Runs what is ready on the loop.
    static void settle() { loop().poll(); }
    /// Outlives every thread that a test leaves behind in a frozen server.
    static boost::asio::io_context& loop();
    /// The loop's clock, which lives as long.
    static std::shared_ptr<ViewerContinuousClock> clock();

  private:
    std::shared_ptr<ViewerX11DisplayList> list_;
};

}  // namespace velmora
