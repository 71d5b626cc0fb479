#pragma once

#include <pipewire/pipewire.h>

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/wayland/ViewerScreenCastRemote.h"
#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"

namespace velmora {

/// One connection to PipeWire, the nodes it shows, and who watches them. Belongs to its thread,
/// which alone uses it; nothing here waits. A connection that is lost stays so.
class ViewerPipeWireConnection final {
  public:
    /// Is told once of what it watches. May stop watching meanwhile.
    class Watcher {
      public:
        virtual ~Watcher() = default;
        virtual void nodeIsGone(std::uint64_t serial) = 0;
        /// What the node shows is to become this large.
        virtual void nodeIsToResize(std::uint64_t serial, ViewerWaylandOutput::PixelSize size) = 0;
        /// Nothing comes over the connection any more.
        virtual void connectionIsOver() = 0;
    };
    using Nodes = ViewerScreenCastRemote::Nodes;

    /// One that is lost from the beginning.
    ViewerPipeWireConnection() = default;
    /// Connects over `descriptor`, which is the connection's from now on.
    ViewerPipeWireConnection(const ViewerPipeWireLibrary& library, pw_loop* loop, int descriptor);
    ~ViewerPipeWireConnection();
    ViewerPipeWireConnection(const ViewerPipeWireConnection&) = delete;
    ViewerPipeWireConnection& operator=(const ViewerPipeWireConnection&) = delete;

    /// These three have a meaning as long as the connection is not lost.
    const ViewerPipeWireLibrary& library() const { return *library_; }
    pw_loop* loop() const { return loop_; }
    pw_core* core() const { return core_; }

    bool isLost() const { return isLost_; }
    /// Gives the connection up and tells so.
    void lose();

    /// From now on nobody watches a node, though the connection stays: no node has a serial number
    /// any more.
    void endStreams();
    void outputHasResized(const ViewerGrantedStream& stream, ViewerWaylandOutput::PixelSize size);

    void watch(Watcher& watcher) { watchers_.push_back(&watcher); }
    void unwatch(Watcher& watcher) { watchers_.remove(&watcher); }

    /// Runs `action` once the nodes that are there at first are known, or the connection is lost.
    void whenListed(std::function<void()> action);
    /// The serial number of a granted node that is there; nothing when it is not. A number of a
    /// node means the node that first had it on this connection, since numbers are given out again.
    std::optional<std::uint64_t> serialOf(const ViewerGrantedStream& stream) const;
    /// Tells the nodes that are there, with what only they themselves tell; nothing when the
    /// connection is lost before.
    void describe(Nodes nodes);

  private:
    /// What one call to describe has asked of one node.
    struct Question final {
        ViewerStreamNode node;
        pw_proxy* proxy = nullptr;
        spa_hook hook{};
    };
    struct Inquiry final {
        int sync = 0;
        /// A list, since PipeWire keeps pointers into it.
        std::list<Question> questions;
        Nodes answer;
    };

    void connect(int descriptor);
    void ask(Nodes nodes);
    void complete(std::list<Inquiry>::iterator inquiry, bool isAnswered);
    void synchronized(int sync);
    void nodeAppeared(std::uint32_t id, const spa_dict& properties);
    void nodeVanished(std::uint32_t id);

    static void onDone(void* self, std::uint32_t id, int sync);
    static void onError(void* self, std::uint32_t id, int sync, int result, const char* message);
    static void onGlobal(void* self, std::uint32_t id, std::uint32_t permissions, const char* type,
                         std::uint32_t version, const spa_dict* properties);
    static void onGlobalRemove(void* self, std::uint32_t id);
    static void onNodeInfo(void* question, const pw_node_info* info);
    static const pw_core_events coreEvents;
    static const pw_registry_events registryEvents;
    static const pw_node_events nodeEvents;

    const ViewerPipeWireLibrary* library_ = nullptr;
    pw_loop* loop_ = nullptr;
    pw_context* context_ = nullptr;
    pw_core* core_ = nullptr;
    pw_registry* registry_ = nullptr;
    spa_hook coreHook_{};
    spa_hook registryHook_{};

    bool hasEndedStreams_ = false;
    bool isLost_ = true;
    bool isListed_ = false;
    int listing_ = 0;
    std::vector<std::function<void()>> untilListed_;
    /// The serial numbers of the nodes that are there, and of those that first had each number.
    std::map<std::uint32_t, std::uint64_t> nodes_;
    std::map<std::uint32_t, std::uint64_t> firstNodes_;
    std::list<Inquiry> inquiries_;
    std::list<Watcher*> watchers_;
};

}  // namespace velmora
