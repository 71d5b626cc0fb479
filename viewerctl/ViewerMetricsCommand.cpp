#include "viewerctl/ViewerMetricsCommand.h"

#include <boost/system/system_error.hpp>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"
#include "core/protocol/ViewerPercentDecoding.h"

namespace velmora {

namespace {

constexpr std::string_view textFormat = "text/plain; version=0.0.4; charset=utf-8";
constexpr std::string_view probePrefix = "/probe?target=";

}  // namespace

ViewerMetricsCommand::ViewerMetricsCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                                           const ViewerConsole& console, std::uint16_t port)
    : loop_(loop), client_(client), console_(console), port_(port) {}

ViewerTask<ViewerExit> ViewerMetricsCommand::run() {
    try {
        ViewerLocalServer server(loop_, ViewerLocalServer::loopback(port_),
                                 [this](const ViewerLocalRequest& request, Connection connection) {
                                     return respond(std::string(request.target()),
                                                    std::move(connection));
                                 });
        client_.atStop([&server] { server.stop(); });
        console_.errors << "http://127.0.0.1:" << server.port() << probePrefix << std::endl;
        if (!client_.isStopped()) {
            co_await server.serve();
        }
        client_.atStop(nullptr);
    } catch (const boost::system::system_error& error) {
        console_.errors << "127.0.0.1:" << port_ << ": " << error.code().message() << '\n';
        co_return ViewerExit::someFailed;
    }
    co_return ViewerExit::allGood;
}

ViewerTask<void> ViewerMetricsCommand::respond(std::string target, Connection connection) {
    if (target.starts_with(probePrefix)) {
        co_await probe(target.substr(probePrefix.size()), connection);
        co_return;
    }
    const bool isOwn = target == "/metrics";
    const auto bytes = isOwn
                           ? ViewerLocalServer::answer(
                                 200, textFormat, ViewerMetrics::ofExporter(probes_, failedProbes_))
                           : ViewerLocalServer::answer(404, "text/plain", "");
    (void)co_await connection->send(bytes);  // whoever asked may have gone
}

ViewerTask<void> ViewerMetricsCommand::probe(std::string hostText, Connection connection) {
    const auto decoded = percentDecoded(hostText);
    const auto host = decoded ? ViewerHostAddress::parse(*decoded) : std::nullopt;
    auto bytes = ViewerLocalServer::answer(400, "text/plain", "");
    if (host) {
        ++probes_;
        const ViewerTransfer transfer =
            co_await client_.exchange(*host, std::string(ViewerHostProtocolV1::displaysPath));
        const std::string page = ViewerMetrics::ofProbe(transfer);
        failedProbes_ += page.find("velmora_up 0\n") != std::string::npos ? 1U : 0U;
        bytes = ViewerLocalServer::answer(200, textFormat, page);
    }
    (void)co_await connection->send(bytes);  // whoever asked may have gone
}

}  // namespace velmora
