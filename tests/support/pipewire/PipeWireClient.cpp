#include "tests/support/pipewire/PipeWireClient.h"

#include <algorithm>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Waits on the loop until PipeWire has done everything that was asked for before.
class RoundTrip final {
  public:
    RoundTrip(pw_thread_loop* loop, pw_core* core) : loop_(loop) {
        events_.version = PW_VERSION_CORE_EVENTS;
        events_.done = [](void* self, std::uint32_t, int sync) {
            static_cast<RoundTrip*>(self)->take(sync);
        };
        pw_core_add_listener(core, &hook_, &events_, this);
        sync_ = pw_core_sync(core, PW_ID_CORE, 0);
    }
    ~RoundTrip() { spa_hook_remove(&hook_); }
    RoundTrip(const RoundTrip&) = delete;
    RoundTrip& operator=(const RoundTrip&) = delete;

    void wait() const {
        while (!isDone_) {
            pw_thread_loop_wait(loop_);
        }
    }

  private:
    void take(int sync) {
        isDone_ = isDone_ || sync == sync_;
        pw_thread_loop_signal(loop_, false);
    }

    pw_thread_loop* const loop_;
    pw_core_events events_{};
    spa_hook hook_{};
    int sync_ = 0;
    bool isDone_ = false;
};

}  // namespace

PipeWireClient::PipeWireClient(int descriptor) {
    pw_init(nullptr, nullptr);
    loop_ = pw_thread_loop_new("test", nullptr);
    context_ = pw_context_new(pw_thread_loop_get_loop(loop_),
                              pw_properties_new("module.rt", "false", nullptr), 0);
    viewerCheck(context_ != nullptr, "a test's PipeWire client cannot be made");
    core_ = pw_context_connect_fd(context_, descriptor, nullptr, 0);
    viewerCheck(core_ != nullptr, "a test's PipeWire client cannot connect");
    pw_thread_loop_start(loop_);
}

PipeWireClient::~PipeWireClient() {
    pw_thread_loop_stop(loop_);
    pw_core_disconnect(core_);
    pw_context_destroy(context_);
    pw_thread_loop_destroy(loop_);
}

void PipeWireClient::locked(const std::function<void()>& action) const {
    pw_thread_loop_lock(loop_);
    action();
    pw_thread_loop_unlock(loop_);
}

std::vector<PipeWireClient::Global> PipeWireClient::look() {
    std::vector<Global> found;
    pw_registry_events events{};
    events.version = PW_VERSION_REGISTRY_EVENTS;
    events.global = [](void* globals, std::uint32_t, std::uint32_t, const char* type, std::uint32_t,
                       const spa_dict* properties) {
        const char* const name =
            properties != nullptr ? spa_dict_lookup(properties, PW_KEY_APP_NAME) : nullptr;
        static_cast<std::vector<Global>*>(globals)->push_back(
            {type, name != nullptr ? name : std::string()});
    };
    locked([&] {
        pw_registry* const registry = pw_core_get_registry(core_, PW_VERSION_REGISTRY, 0);
        spa_hook hook{};
        pw_registry_add_listener(registry, &hook, &events, &found);
        RoundTrip(loop_, core_).wait();
        spa_hook_remove(&hook);
        pw_proxy_destroy(reinterpret_cast<pw_proxy*>(registry));
    });
    return found;
}

bool PipeWireClient::hasClient(const std::string& name) {
    return std::ranges::any_of(
        look(), [&](const Global& each) { return each.clientName.starts_with(name); });
}

std::size_t PipeWireClient::count(const std::string& type) {
    return static_cast<std::size_t>(std::ranges::count(look(), type, &Global::type));
}

}  // namespace velmora
