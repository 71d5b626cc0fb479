#pragma once

#include <boost/asio/io_context.hpp>
#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerFailure.h"
#include "viewerctl/ViewerHostAddress.h"
#include "viewerctl/ViewerNameResolver.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// How long each step of a request took, since its beginning; zero for steps that were not reached.
struct ViewerTimings final {
    /// The name's look-up alone.
    std::chrono::microseconds lookUp{};
    /// Until the connection stood, the look-up left out, as with the following.
    std::chrono::microseconds connect{};
    std::chrono::microseconds firstByte{};
    std::chrono::microseconds total{};
};

/// What a request of a host's came to.
struct ViewerTransfer final {
    /// Nothing when a whole answer came, which may be anything.
    std::optional<ViewerFailure> failure;
    /// The answer's head, its empty line included.
    std::string head;
    std::string body;
    ViewerTimings timings;
};

/// Requests on connections of their own, any number at once, without proxies, redirects, cookies or
/// compression. What comes is bounded: an answer that is longer breaks its own transfer alone. On
/// the loop's thread.
class ViewerTransfers final {
  public:
    explicit ViewerTransfers(boost::asio::io_context& loop);
    ~ViewerTransfers();
    ViewerTransfers(const ViewerTransfers&) = delete;
    ViewerTransfers& operator=(const ViewerTransfers&) = delete;

    /// Asks the host for a target. `addresses` are those of its name, none for a literal address.
    ViewerTask<ViewerTransfer> get(ViewerHostAddress host, ViewerAddresses addresses,
                                   std::string target, std::chrono::milliseconds limit);
    /// Ends every transfer.
    void stop();

    /// `text` as it stands in a target.
    static std::string percentEncoded(std::string_view text);

  private:
    class Multi;

    std::unique_ptr<Multi> multi_;
};

}  // namespace velmora
