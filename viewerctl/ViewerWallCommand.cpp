#include "viewerctl/ViewerWallCommand.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/beast/websocket/rfc6455.hpp>
#include <boost/system/system_error.hpp>
#include <utility>

#include "viewerctl/ViewerBrowser.h"
#include "viewerctl/ViewerLivePage.h"
#include "viewerctl/ViewerPrivateFile.h"
#include "viewerctl/ViewerWallFiles.h"
#include "viewerctl/ViewerWallToken.h"

namespace velmora {

namespace {

namespace asio = boost::asio;

/// A page that leads to the wall's.
std::string leadingTo(const std::string& link) {
    return "<!doctype html>\n<meta charset=\"utf-8\">\n<title>Velmora</title>\n"
           "<meta name=\"referrer\" content=\"no-referrer\">\n"
           "<meta http-equiv=\"refresh\" content=\"0; url=" +
           link + "\">\n<a href=\"" + link + "\">Velmora</a>\n";
}

/// The page asks this program alone, runs no other code, and stands in no other page.
ViewerLocalServer::Fields manners(const std::string& authority) {
    return {{"Content-Security-Policy",
             "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' blob:; "
             "connect-src 'self' ws://" +
                 authority + "; base-uri 'none'; form-action 'none'; frame-ancestors 'none'"},
            {"X-Content-Type-Options", "nosniff"},
            {"Referrer-Policy", "no-referrer"},
            {"Cross-Origin-Opener-Policy", "same-origin"},
            {"Cross-Origin-Resource-Policy", "same-origin"}};
}

}  // namespace

ViewerWallCommand::ViewerWallCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                                     const ViewerConsole& console, Options options)
    : loop_(loop),
      client_(client),
      console_(console),
      options_(std::move(options)),
      token_(ViewerWallToken::make()),
      wall_(loop, client, options_.hosts),
      wallEnded_(loop) {}

ViewerTask<ViewerExit> ViewerWallCommand::run() {
    try {
        ViewerLocalServer server(loop_, options_.endpoint,
                                 [this](ViewerLocalRequest request, Connection connection) {
                                     return respond(std::move(request), std::move(connection));
                                 });
        manners_ = manners(server.authority());
        const std::string link = "http://" + server.authority() + "/#" + token_;
        const ViewerPrivateFile file(leadingTo(link), ".html");
        client_.atStop([&] {
            server.stop();
            wall_.stop();
        });
        tell(file.path(), link);
        ViewerBrowser browser(loop_);
        if (options_.opensBrowser) {
            browser.open(file.path(), [this] {
                console_.errors << console_.say("no browser could be opened: open this file in one",
                                                "браузер не открылся: откройте этот файл сами")
                                << std::endl;
            });
        }
        if (!client_.isStopped()) {
            asio::co_spawn(loop_, keepWall(), asio::detached);
            co_await server.serve();
            (void)co_await wallEnded_.wait();  // has no deadline of its own
        }
        client_.atStop(nullptr);
    } catch (const boost::system::system_error& error) {
        console_.errors << options_.endpoint << ": " << error.code().message() << '\n';
        co_return ViewerExit::someFailed;
    }
    co_return ViewerExit::allGood;
}

ViewerTask<void> ViewerWallCommand::keepWall() {
    co_await wall_.run();
    wallEnded_.set();
}

void ViewerWallCommand::tell(const std::string& path, const std::string& link) const {
    console_.output << path << std::endl;
    if (!options_.endpoint.address().is_loopback()) {
        console_.output << link << std::endl;
    }
}

ViewerTask<void> ViewerWallCommand::respond(ViewerLocalRequest request, Connection connection) {
    const std::string target(request.target());
    auto bytes = ViewerLocalServer::answer(404, "text/plain", "", manners_);
    if (target == "/live" && isAllowed(request)) {
        ViewerLivePage page(loop_, wall_, connection);
        co_await page.run(std::move(request));
        co_return;
    }
    if (target == "/live") {
        bytes = ViewerLocalServer::answer(403, "text/plain", "", manners_);
    } else if (const auto file = ViewerWallFiles::find(target)) {
        bytes = ViewerLocalServer::answer(200, file->type, file->bytes, manners_);
    }
    (void)co_await connection->send(bytes);  // whoever asked may have gone
}

bool ViewerWallCommand::isAllowed(const ViewerLocalRequest& request) const {
    namespace http = boost::beast::http;
    const std::string_view protocols = request[http::field::sec_websocket_protocol];
    const std::string_view origin = request[http::field::origin];
    return origin == "http://" + std::string(request[http::field::host]) &&
           ViewerWallToken::isOffered(protocols, ViewerLivePage::subprotocol) &&
           ViewerWallToken::isOffered(protocols, token_);
}

}  // namespace velmora
