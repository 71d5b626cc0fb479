#include "tests/http/linux/ListeningWorld.h"

#include <utility>
#include <variant>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/linux/ViewerBoottimeClock.h"

namespace velmora {

ListeningWorld::ListeningWorld(std::shared_ptr<ViewerContinuousClock> clock)
    : transport(makeTransport(clock ? std::move(clock)
                                    : std::make_shared<ViewerBoottimeClock>(loop.context()))) {}

ListeningWorld::~ListeningWorld() {
    loop.stop();
}

std::shared_ptr<ViewerListener> ListeningWorld::makeListener(std::uint16_t port) {
    auto creation = transport->makeListener(port);
    auto made = std::get<std::shared_ptr<ViewerListener>>(creation);
    made->setStateHandler([this](ViewerListenerState state, const std::string& description) {
        log.add(nameOf(state) + (description.empty() ? "" : ": " + description));
    });
    return made;
}

void ListeningWorld::listen(Serve serve) {
    listener = makeListener();
    listener->setConnectionHandler(
        [this, serve = std::move(serve)](std::shared_ptr<ViewerConnection> connection) {
            connections.push_back(connection);
            serve(*connection);
            log.add("connection");
        });
    listener->start(loop.executor());
    viewerCheck(log.waitFor("ready"), "a listener on a free port becomes ready");
}

void ListeningWorld::start(ViewerConnection& connection, ConnectionEvents events) {
    receivers_.push_back(std::make_shared<ScriptedReceiver>(std::move(events)));
    connection.start(loop.executor(), receivers_.back());
}

ConnectionEvents ListeningWorld::loggedStates() {
    return {.onState = [this](ViewerConnectionState state) { log.add(nameOf(state)); }};
}

const char* nameOf(ViewerListenerState state) {
    switch (state) {
        case ViewerListenerState::setup:
            return "setup";
        case ViewerListenerState::waiting:
            return "waiting";
        case ViewerListenerState::ready:
            return "ready";
        case ViewerListenerState::failed:
            return "failed";
        case ViewerListenerState::cancelled:
            return "cancelled";
    }
    return "";
}

const char* nameOf(ViewerConnectionState state) {
    switch (state) {
        case ViewerConnectionState::setup:
            return "connection setup";
        case ViewerConnectionState::waiting:
            return "connection waiting";
        case ViewerConnectionState::preparing:
            return "connection preparing";
        case ViewerConnectionState::ready:
            return "connection ready";
        case ViewerConnectionState::failed:
            return "connection failed";
        case ViewerConnectionState::cancelled:
            return "connection cancelled";
    }
    return "";
}

}  // namespace velmora
