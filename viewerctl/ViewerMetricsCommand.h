#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <memory>
#include <string>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerHostClient.h"
#include "viewerctl/ViewerLocalServer.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// What a probe has found out, in the text format of Prometheus. Pure.
namespace ViewerMetrics {

/// Of a host's answer to the question for its displays.
std::string ofProbe(const ViewerTransfer& transfer);
/// Of the exporter itself.
std::string ofExporter(std::uint64_t probes, std::uint64_t failedProbes);

}  // namespace ViewerMetrics

/// Answers Prometheus on a loopback port: "/probe?target=HOST" asks a host for its displays, never
/// for a picture, so that a scrape starts no capture. Must outlive its task. On the loop's thread.
class ViewerMetricsCommand final {
  public:
    static constexpr std::uint16_t defaultPort = 9091;

    ViewerMetricsCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                         const ViewerConsole& console, std::uint16_t port);

    /// Until the program ends.
    ViewerTask<ViewerExit> run();

  private:
    using Connection = std::shared_ptr<ViewerLocalConnection>;

    ViewerTask<void> respond(std::string target, Connection connection);
    ViewerTask<void> probe(std::string hostText, Connection connection);

    boost::asio::io_context& loop_;
    ViewerHostClient& client_;
    const ViewerConsole& console_;
    const std::uint16_t port_;
    std::uint64_t probes_ = 0;
    std::uint64_t failedProbes_ = 0;
};

}  // namespace velmora
