#pragma once

#include <pipewire/pipewire.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <list>
#include <string>
#include <vector>

#include "core/capture/linux/wayland/pipewire/ViewerPipeWireLibrary.h"

namespace velmora {

/// What stands in the place of PipeWire's library and its loop, for one connection and one stream
/// on it: it refuses and tells what a test says, at once. Outlives both. One thread.
class ScriptedPipeWire final {
  public:
    /// What is refused.
    struct Refusals final {
        bool context = false;
        bool registry = false;
        bool nodes = false;
        bool streams = false;
        bool timers = false;
        /// What a stream is to be connected to.
        bool targets = false;
        /// What a stream's buffers are to be like.
        bool buffers = false;
    };

    ScriptedPipeWire() : ScriptedPipeWire(Refusals()) {}
    explicit ScriptedPipeWire(Refusals refusals);
    ScriptedPipeWire(const ScriptedPipeWire&) = delete;
    ScriptedPipeWire& operator=(const ScriptedPipeWire&) = delete;

    const ViewerPipeWireLibrary& library() const { return library_; }
    pw_loop* loop() { return &loop_; }

    /// The number of the last round trip that was asked for.
    int lastSync() const { return sync_; }
    /// What is asked for under this number has been told.
    void answer(int sync) { answer(PW_ID_CORE, sync); }
    /// The same of another object than the core.
    void answer(std::uint32_t object, int sync);
    /// The connection is broken.
    void fail() { fail(PW_ID_CORE, -EPIPE); }
    /// Something went wrong with this object.
    void fail(std::uint32_t object, int result);
    void addNode(std::uint32_t id, const char* serial);
    /// `properties` may be null.
    void addNodeWith(std::uint32_t id, const spa_dict* properties);
    void removeNode(std::uint32_t id);
    /// The node that was bound last tells of itself.
    void describeNode(const pw_node_info& info);

    void tellState(pw_stream_state state);
    void tellParameter(std::uint32_t id, const spa_pod* parameter);
    void addBuffer(pw_buffer& buffer);
    void removeBuffer(pw_buffer& buffer);
    /// A buffer comes, and whoever waits for one is woken.
    void bring(pw_buffer& buffer);
    /// Those that the stream has given back.
    const std::vector<pw_buffer*>& returned() const { return returned_; }
    /// The timer's instant; all zeros where there is none.
    timespec timer() const { return instant_; }
    void expireTimer();
    /// How often a timer was set that is none.
    std::size_t wrongTimers() const { return wrongTimers_; }
    /// How often the stream was told what its buffers are to be like.
    std::size_t bufferRequests() const { return bufferRequests_; }
    /// What was made and is no more, in the order in which it went.
    const std::vector<std::string>& released() const { return released_; }

  private:
    struct Listeners final {
        Listeners() { spa_hook_list_init(&hooks); }

        spa_hook_list hooks{};
    };
    struct Bound final {
        spa_interface interface{};
        Listeners listeners;
        ScriptedPipeWire* pipeWire = nullptr;
    };
    struct Source final {
        spa_source source{};
        spa_source_timer_func_t expire = nullptr;
        spa_source_event_func_t signal = nullptr;
        void* data = nullptr;
    };

    static ScriptedPipeWire& of(void* self) { return *static_cast<ScriptedPipeWire*>(self); }
    static ScriptedPipeWire& of(pw_stream* stream) {
        return *reinterpret_cast<ScriptedPipeWire*>(stream);
    }
    static ScriptedPipeWire& of(pw_context* context) {
        return *reinterpret_cast<ScriptedPipeWire*>(context);
    }
    static ScriptedPipeWire& of(pw_core* core) {
        return of(reinterpret_cast<spa_interface*>(core)->cb.data);
    }
    static void destroyProxy(pw_proxy* proxy);
    /// REQUIRES: nobody listens to it any more.
    void release(const char* what, const Listeners& listeners);
    void scriptConnection();
    void scriptStream();
    void scriptLoop();

    const Refusals refusals_;
    ViewerPipeWireLibrary library_;
    pw_core_methods coreMethods_{};
    pw_registry_methods registryMethods_{};
    pw_node_methods nodeMethods_{};
    spa_loop_utils_methods loopMethods_{};
    spa_interface core_{};
    spa_interface registry_{};
    spa_loop_utils utils_{};
    pw_loop loop_{};

    Listeners coreListeners_;
    Listeners registryListeners_;
    Listeners streamListeners_;
    std::list<Bound> nodes_;
    int sync_ = 0;

    Source timer_;
    Source arrival_;
    timespec instant_{};
    std::size_t wrongTimers_ = 0;
    std::size_t bufferRequests_ = 0;
    std::vector<std::string> released_;
    pw_buffer* brought_ = nullptr;
    std::vector<pw_buffer*> returned_;
};

}  // namespace velmora
