#include "core/capture/linux/wayland/pipewire/ViewerPipeWireConnection.h"

#include <spa/utils/dict.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

std::optional<std::uint64_t> serialIn(const spa_dict& properties) {
    const char* const text = spa_dict_lookup(&properties, PW_KEY_OBJECT_SERIAL);
    std::uint64_t serial = 0;
    if (text == nullptr) {
        return std::nullopt;
    }
    const char* const end = text + std::strlen(text);
    const auto [rest, error] = std::from_chars(text, end, serial);
    return error == std::errc() && rest == end ? std::optional(serial) : std::nullopt;
}

}  // namespace

const pw_core_events ViewerPipeWireConnection::coreEvents = [] {
    pw_core_events events{};
    events.version = PW_VERSION_CORE_EVENTS;
    events.done = onDone;
    events.error = onError;
    return events;
}();

const pw_registry_events ViewerPipeWireConnection::registryEvents = [] {
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = onGlobal;
    events.global_remove = onGlobalRemove;
    return events;
}();

const pw_node_events ViewerPipeWireConnection::nodeEvents = [] {
    pw_node_events events{};
    events.version = PW_VERSION_NODE_EVENTS;
    events.info = onNodeInfo;
    return events;
}();

ViewerPipeWireConnection::ViewerPipeWireConnection(const ViewerPipeWireLibrary& library,
                                                   pw_loop* loop, int descriptor)
    : library_(&library), loop_(loop) {
    // Whatever newer releases set up by default: nothing in this process becomes real-time.
    const std::array items{spa_dict_item{"module.rt", "false"}};
    const spa_dict settings{0, static_cast<std::uint32_t>(items.size()), items.data()};
    if (loop != nullptr) {
        context_ = library.contextNew(loop, library.propertiesNew(&settings), 0);
    }
    if (context_ == nullptr) {
        (void)::close(descriptor);  // There is nobody to be told.
        return;
    }
    connect(descriptor);
}

ViewerPipeWireConnection::~ViewerPipeWireConnection() {
    if (registry_ != nullptr) {
        spa_hook_remove(&registryHook_);
        library_->proxyDestroy(reinterpret_cast<pw_proxy*>(registry_));
    }
    if (core_ != nullptr) {
        spa_hook_remove(&coreHook_);
        (void)library_->coreDisconnect(core_);  // It closes the descriptor whatever it says.
    }
    if (context_ != nullptr) {
        library_->contextDestroy(context_);
    }
}

void ViewerPipeWireConnection::connect(int descriptor) {
    core_ = library_->contextConnect(context_, descriptor, nullptr, 0);
    if (core_ == nullptr) {
        // Only a connection that was made closes its descriptor.
        (void)::close(descriptor);  // There is nobody to be told.
        return;
    }
    (void)pw_core_add_listener(core_, &coreHook_, &coreEvents, this);
    registry_ = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
    isLost_ = registry_ == nullptr;
    if (!isLost_) {
        (void)pw_registry_add_listener(registry_, &registryHook_, &registryEvents, this);
        listing_ = pw_core_sync(core_, PW_ID_CORE, 0);
    }
}

void ViewerPipeWireConnection::lose() {
    isLost_ = true;
    while (!inquiries_.empty()) {
        complete(inquiries_.begin(), false);
    }
    endStreams();
    for (const auto& action : std::exchange(untilListed_, {})) {
        action();
    }
}

void ViewerPipeWireConnection::endStreams() {
    hasEndedStreams_ = true;
    while (!watchers_.empty()) {
        Watcher* const watcher = watchers_.front();
        watchers_.pop_front();
        watcher->connectionIsOver();
    }
}

void ViewerPipeWireConnection::outputHasResized(const ViewerGrantedStream& stream,
                                                ViewerWaylandOutput::PixelSize size) {
    const std::optional<std::uint64_t> serial = serialOf(stream);
    if (!serial) {
        return;
    }
    for (Watcher* const each : watchers_) {
        each->nodeIsToResize(*serial, size);
    }
}

void ViewerPipeWireConnection::whenListed(std::function<void()> action) {
    if (isListed_ || isLost_) {
        action();
    } else {
        untilListed_.push_back(std::move(action));
    }
}

std::optional<std::uint64_t> ViewerPipeWireConnection::serialOf(
    const ViewerGrantedStream& stream) const {
    if (hasEndedStreams_) {
        return std::nullopt;
    }
    std::optional<std::uint64_t> serial = stream.serial;
    if (!serial) {
        const auto found = firstNodes_.find(stream.node);
        if (found == firstNodes_.end()) {
            return std::nullopt;
        }
        serial = found->second;
    }
    const bool isThere =
        std::ranges::any_of(nodes_, [&serial](const auto& node) { return node.second == *serial; });
    return isThere ? serial : std::nullopt;
}

void ViewerPipeWireConnection::describe(Nodes nodes) {
    whenListed([this, answer = std::move(nodes)] { ask(answer); });
}

void ViewerPipeWireConnection::ask(Nodes nodes) {
    if (isLost_) {
        nodes(std::nullopt);
        return;
    }
    Inquiry& inquiry = inquiries_.emplace_back();
    inquiry.answer = std::move(nodes);
    for (const auto& [id, serial] : nodes_) {
        Question& question = inquiry.questions.emplace_back();
        question.node.id = id;
        question.node.serial = serial;
        void* const bound =
            pw_registry_bind(registry_, id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0);
        if (bound != nullptr) {
            question.proxy = static_cast<pw_proxy*>(bound);
            (void)pw_node_add_listener(static_cast<pw_node*>(bound), &question.hook, &nodeEvents,
                                       &question);
        }
    }
    // Each node tells of itself before PipeWire comes to this.
    inquiry.sync = pw_core_sync(core_, PW_ID_CORE, 0);
}

void ViewerPipeWireConnection::complete(std::list<Inquiry>::iterator inquiry, bool isAnswered) {
    std::list<Inquiry> completed;
    completed.splice(completed.begin(), inquiries_, inquiry);
    std::vector<ViewerStreamNode> nodes;
    for (Question& each : completed.front().questions) {
        const bool isThere = nodes_.contains(each.node.id);
        if (each.proxy != nullptr) {
            spa_hook_remove(&each.hook);
            library_->proxyDestroy(each.proxy);
        }
        if (isThere) {
            nodes.push_back(std::move(each.node));
        }
    }
    completed.front().answer(isAnswered ? std::optional(std::move(nodes)) : std::nullopt);
}

void ViewerPipeWireConnection::synchronized(int sync) {
    if (sync == listing_) {
        isListed_ = true;
        for (const auto& action : std::exchange(untilListed_, {})) {
            action();
        }
    }
    const auto inquiry = std::ranges::find(inquiries_, sync, &Inquiry::sync);
    if (inquiry != inquiries_.end()) {
        complete(inquiry, true);
    }
}

void ViewerPipeWireConnection::nodeAppeared(std::uint32_t id, const spa_dict& properties) {
    // A server that gives none has no way to name a node for good.
    if (const auto serial = serialIn(properties)) {
        nodes_.insert_or_assign(id, *serial);
        firstNodes_.try_emplace(id, *serial);
    }
}

void ViewerPipeWireConnection::nodeVanished(std::uint32_t id) {
    const auto found = nodes_.find(id);
    if (found == nodes_.end()) {
        return;
    }
    const std::uint64_t serial = found->second;
    nodes_.erase(found);
    const std::list<Watcher*> watchers = watchers_;
    for (Watcher* const each : watchers) {
        each->nodeIsGone(serial);
    }
}

void ViewerPipeWireConnection::onDone(void* self, std::uint32_t id, int sync) {
    if (id == PW_ID_CORE) {
        static_cast<ViewerPipeWireConnection*>(self)->synchronized(sync);
    }
}

void ViewerPipeWireConnection::onError(void* self, std::uint32_t id, int, int result, const char*) {
    // PipeWire answers so a request whose object had gone meanwhile, as happens when a node goes
    // while it is captured. After any other error, its end or not, the library neither reads nor
    // writes the connection any more, and says so only once.
    if (id == PW_ID_CORE && result != -ENOENT) {
        static_cast<ViewerPipeWireConnection*>(self)->lose();
    }
}

void ViewerPipeWireConnection::onGlobal(void* self, std::uint32_t id, std::uint32_t,
                                        const char* type, std::uint32_t,
                                        const spa_dict* properties) {
    if (std::string_view(type) == PW_TYPE_INTERFACE_Node && properties != nullptr) {
        static_cast<ViewerPipeWireConnection*>(self)->nodeAppeared(id, *properties);
    }
}

void ViewerPipeWireConnection::onGlobalRemove(void* self, std::uint32_t id) {
    static_cast<ViewerPipeWireConnection*>(self)->nodeVanished(id);
}

void ViewerPipeWireConnection::onNodeInfo(void* question, const pw_node_info* info) {
    const char* const name =
        info->props != nullptr ? spa_dict_lookup(info->props, PW_KEY_MEDIA_NAME) : nullptr;
    if (name != nullptr) {
        static_cast<Question*>(question)->node.mediaName = name;
    }
}

}  // namespace velmora
