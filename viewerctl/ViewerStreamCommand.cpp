#include "viewerctl/ViewerStreamCommand.h"

#include <unistd.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/system/system_error.hpp>
#include <utility>

#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerFrameCommand.h"
#include "viewerctl/ViewerStreamOutput.h"

namespace velmora {

namespace {

constexpr std::string_view boundary = "--velmora-frame\r\n";
constexpr std::string_view answerHead =
    "HTTP/1.1 200 OK\r\n"
    "Content-Type: multipart/x-mixed-replace;boundary=velmora-frame\r\n"
    "Cache-Control: no-store\r\n"
    "Connection: close\r\n\r\n";

std::chrono::milliseconds wholeMilliseconds(std::chrono::nanoseconds time) {
    return std::chrono::ceil<std::chrono::milliseconds>(time);
}

}  // namespace

ViewerStreamCommand::ViewerStreamCommand(boost::asio::io_context& loop, ViewerHostClient& client,
                                         const ViewerConsole& console, Options options)
    : loop_(loop),
      client_(client),
      console_(console),
      options_(std::move(options)),
      period_(static_cast<std::chrono::nanoseconds::rep>(1e9 / options_.rate)),
      firstPart_(loop),
      fetchEnded_(loop) {}

std::string ViewerStreamCommand::preamble() {
    return std::string(boundary);
}

std::string ViewerStreamCommand::part(std::string_view jpeg) {
    std::string bytes = "Content-Type: image/jpeg\r\nContent-Length: ";
    bytes += std::to_string(jpeg.size()) + "\r\n\r\n";
    // Whoever takes the boundary for the end of a part has the whole part at once.
    return bytes.append(jpeg).append("\r\n").append(boundary);
}

ViewerTask<ViewerExit> ViewerStreamCommand::run() {
    const auto listing = co_await client_.listing(options_.host);
    const auto display =
        listing ? ViewerDisplayChoice::in(*listing, options_.display) : std::nullopt;
    if (!display) {
        const auto failure = listing ? ViewerFailure::noSuchDisplay : listing.failure();
        if (!client_.isStopped()) {
            console_.errors << options_.host.text() << ": " << textOf(failure, console_.language)
                            << '\n';
        }
        co_return ViewerExit::someFailed;
    }
    boost::asio::co_spawn(loop_, fetch(display->id), boost::asio::detached);
    const ViewerExit exit = co_await stream();
    client_.stop();
    (void)co_await fetchEnded_.wait();  // has no deadline of its own
    co_return exit;
}

ViewerTask<void> ViewerStreamCommand::fetch(std::string displayID) {
    ViewerBackOff backOff;
    auto next = std::chrono::steady_clock::now();
    bool goesOn = true;
    while (goesOn) {
        const auto frame = co_await client_.frame(options_.host, displayID);
        noteState(frame);
        if (frame) {
            part_ = std::make_shared<const std::string>(part(frame->jpeg.text()));
            firstPart_.set();
            backOff.reset();
        }
        next = std::max(next + period_, std::chrono::steady_clock::now());
        const auto duration =
            frame ? wholeMilliseconds(next - std::chrono::steady_clock::now()) : backOff.next();
        goesOn = co_await client_.pause(duration);
    }
    firstPart_.set();
    fetchEnded_.set();
}

/// Each change is told once.
void ViewerStreamCommand::noteState(const ViewerOutcome<ViewerHostFrame>& frame) {
    const auto failure = frame ? std::nullopt : std::optional(frame.failure());
    if (failure != failure_ && !client_.isStopped()) {
        console_.errors << options_.host.text() << ": "
                        << (failure ? textOf(*failure, console_.language)
                                    : console_.say("pictures again", "снова есть изображения"))
                        << std::endl;
    }
    failure_ = failure;
}

/// Pictures for which a slow taker had no time are left out.
ViewerTask<void> ViewerStreamCommand::deliver(Sink sink) {
    (void)co_await firstPart_.wait();  // has no deadline of its own
    bool goesOn = part_ != nullptr && !client_.isStopped();
    if (goesOn) {
        const auto begin = std::make_shared<const std::string>(preamble());
        goesOn = co_await sink(begin);
    }
    auto next = std::chrono::steady_clock::now();
    while (goesOn) {
        const auto newest = part_;
        const bool isTaken = co_await sink(newest);
        next = std::max(next + period_, std::chrono::steady_clock::now());
        const auto duration = wholeMilliseconds(next - std::chrono::steady_clock::now());
        goesOn = isTaken && !client_.isStopped();
        if (goesOn) {
            goesOn = co_await client_.pause(duration);
        }
    }
}

ViewerTask<void> ViewerStreamCommand::serveProgram(
    std::shared_ptr<ViewerLocalConnection> connection) {
    const auto head = std::make_shared<const std::string>(answerHead);
    const bool isTaken = co_await connection->send(head);
    if (isTaken) {
        const Sink sink = [connection](std::shared_ptr<const std::string> bytes) {
            return connection->send(std::move(bytes));
        };
        co_await deliver(sink);
    }
}

ViewerTask<ViewerExit> ViewerStreamCommand::stream() {
    if (!options_.port) {
        ViewerStreamOutput output(loop_, STDOUT_FILENO);
        client_.atStop([&output] { output.cancel(); });
        const Sink sink = [&output](std::shared_ptr<const std::string> bytes) {
            return output.send(std::move(bytes));
        };
        co_await deliver(sink);
        client_.atStop(nullptr);
        if (client_.isStopped()) {
            co_return ViewerExit::allGood;
        }
        console_.errors << "velmora-viewerctl: "
                        << console_.say("the output cannot be written", "вывод не записывается")
                        << '\n';
        co_return ViewerExit::someFailed;
    }
    try {
        ViewerLocalServer server(loop_, ViewerLocalServer::loopback(*options_.port),
                                 [this](const ViewerLocalRequest&, auto connection) {
                                     return serveProgram(std::move(connection));
                                 });
        client_.atStop([&server] { server.stop(); });
        console_.errors << "http://127.0.0.1:" << server.port() << "/" << std::endl;
        if (!client_.isStopped()) {
            co_await server.serve();
        }
        client_.atStop(nullptr);
    } catch (const boost::system::system_error& error) {
        console_.errors << "127.0.0.1:" << *options_.port << ": " << error.code().message() << '\n';
        co_return ViewerExit::someFailed;
    }
    co_return ViewerExit::allGood;
}

}  // namespace velmora
