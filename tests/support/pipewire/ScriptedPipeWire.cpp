#include "tests/support/pipewire/ScriptedPipeWire.h"

#include <array>
#include <string_view>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

/// Tells every listener: `tell` gets its events and its own data.
template <typename Events, typename Tell>
void each(spa_hook_list& hooks, const Tell& tell) {
    spa_hook* hook = nullptr;
    spa_hook* next = nullptr;
    spa_list_for_each_safe(hook, next, &hooks.list, link) {
        tell(*static_cast<const Events*>(hook->cb.funcs), hook->cb.data);
    }
}

}  // namespace

ScriptedPipeWire::ScriptedPipeWire(Refusals refusals) : refusals_(refusals) {
    scriptConnection();
    scriptStream();
    scriptLoop();
}

void ScriptedPipeWire::scriptConnection() {
    coreMethods_.add_listener = [](void* self, spa_hook* hook, const pw_core_events* events,
                                   void* data) {
        spa_hook_list_append(&of(self).coreListeners_.hooks, hook, events, data);
        return 0;
    };
    coreMethods_.sync = [](void* self, std::uint32_t, int) { return ++of(self).sync_; };
    coreMethods_.get_registry = [](void* self, std::uint32_t, std::size_t) {
        return of(self).refusals_.registry ? nullptr
                                           : reinterpret_cast<pw_registry*>(&of(self).registry_);
    };
    registryMethods_.add_listener = [](void* self, spa_hook* hook, const pw_registry_events* events,
                                       void* data) {
        spa_hook_list_append(&of(self).registryListeners_.hooks, hook, events, data);
        return 0;
    };
    registryMethods_.bind = [](void* self, std::uint32_t, const char*, std::uint32_t,
                               std::size_t) -> void* {
        if (of(self).refusals_.nodes) {
            return nullptr;
        }
        Bound& bound = of(self).nodes_.emplace_back();
        bound.pipeWire = &of(self);
        bound.interface =
            SPA_INTERFACE_INIT(PW_TYPE_INTERFACE_Node, 0, &of(self).nodeMethods_, &bound);
        return &bound.interface;
    };
    nodeMethods_.add_listener = [](void* bound, spa_hook* hook, const pw_node_events* events,
                                   void* data) {
        spa_hook_list_append(&static_cast<Bound*>(bound)->listeners.hooks, hook, events, data);
        return 0;
    };
    core_ = SPA_INTERFACE_INIT(PW_TYPE_INTERFACE_Core, 0, &coreMethods_, this);
    registry_ = SPA_INTERFACE_INIT(PW_TYPE_INTERFACE_Registry, 0, &registryMethods_, this);
    library_.propertiesNew = [](const spa_dict*) -> pw_properties* { return nullptr; };
    library_.contextNew = [](pw_loop* loop, pw_properties*, std::size_t) -> pw_context* {
        void* const self = loop->utils->iface.cb.data;
        return of(self).refusals_.context ? nullptr : static_cast<pw_context*>(self);
    };
    library_.contextDestroy = [](pw_context* context) {
        of(context).released_.emplace_back("context");
    };
    library_.contextConnect = [](pw_context* context, int, pw_properties*, std::size_t) {
        return reinterpret_cast<pw_core*>(&of(context).core_);
    };
    library_.coreDisconnect = [](pw_core* core) {
        of(core).release("core", of(core).coreListeners_);
        return 0;
    };
    library_.proxyDestroy = destroyProxy;
}

void ScriptedPipeWire::destroyProxy(pw_proxy* proxy) {
    viewerCheck(proxy != nullptr, "only what was made is destroyed");
    const auto* const interface = reinterpret_cast<spa_interface*>(proxy);
    if (std::string_view(interface->type) == PW_TYPE_INTERFACE_Registry) {
        ScriptedPipeWire& self = of(interface->cb.data);
        self.release("registry", self.registryListeners_);
    } else {
        const auto* const bound = static_cast<Bound*>(interface->cb.data);
        bound->pipeWire->release("node", bound->listeners);
    }
}

void ScriptedPipeWire::release(const char* what, const Listeners& listeners) {
    viewerCheck(spa_list_is_empty(&listeners.hooks.list), "who listens stops before");
    released_.emplace_back(what);
}

void ScriptedPipeWire::scriptStream() {
    library_.streamNew = [](pw_core* core, const char*, pw_properties*) -> pw_stream* {
        return of(core).refusals_.streams ? nullptr : reinterpret_cast<pw_stream*>(&of(core));
    };
    library_.streamDestroy = [](pw_stream* stream) {
        of(stream).release("stream", of(stream).streamListeners_);
    };
    library_.streamAddListener = [](pw_stream* stream, spa_hook* hook,
                                    const pw_stream_events* events, void* data) {
        spa_hook_list_append(&of(stream).streamListeners_.hooks, hook, events, data);
    };
    library_.streamConnect = [](pw_stream* stream, pw_direction, std::uint32_t, pw_stream_flags,
                                const spa_pod**, std::uint32_t) {
        return of(stream).refusals_.targets ? -ENOENT : 0;
    };
    library_.streamUpdateParams = [](pw_stream* stream, const spa_pod**, std::uint32_t) {
        ++of(stream).bufferRequests_;
        return of(stream).refusals_.buffers ? -EINVAL : 0;
    };
    library_.streamDequeueBuffer = [](pw_stream* stream) {
        return std::exchange(of(stream).brought_, nullptr);
    };
    library_.streamQueueBuffer = [](pw_stream* stream, pw_buffer* buffer) {
        of(stream).returned_.push_back(buffer);
        return 0;
    };
}

void ScriptedPipeWire::scriptLoop() {
    loopMethods_.add_timer = [](void* self, spa_source_timer_func_t expire,
                                void* data) -> spa_source* {
        of(self).timer_.expire = expire;
        of(self).timer_.data = data;
        return of(self).refusals_.timers ? nullptr : &of(self).timer_.source;
    };
    loopMethods_.update_timer = [](void* self, spa_source* source, timespec* value, timespec*,
                                   bool) {
        of(self).wrongTimers_ += source == &of(self).timer_.source ? 0U : 1U;
        of(self).instant_ = *value;
        return 0;
    };
    loopMethods_.add_event = [](void* self, spa_source_event_func_t signal, void* data) {
        of(self).arrival_.signal = signal;
        of(self).arrival_.data = data;
        return &of(self).arrival_.source;
    };
    loopMethods_.signal_event = [](void*, spa_source*) { return 0; };
    loopMethods_.destroy_source = [](void* self, spa_source* source) {
        of(self).released_.emplace_back(source == &of(self).timer_.source ? "timer" : "event");
    };
    utils_.iface = SPA_INTERFACE_INIT(SPA_TYPE_INTERFACE_LoopUtils, 0, &loopMethods_, this);
    loop_.utils = &utils_;
}

void ScriptedPipeWire::answer(std::uint32_t object, int sync) {
    each<pw_core_events>(coreListeners_.hooks, [&](const pw_core_events& events, void* data) {
        events.done(data, object, sync);
    });
}

void ScriptedPipeWire::fail(std::uint32_t object, int result) {
    each<pw_core_events>(coreListeners_.hooks, [&](const pw_core_events& events, void* data) {
        events.error(data, object, 0, result, "broken");
    });
}

void ScriptedPipeWire::addNode(std::uint32_t id, const char* serial) {
    const std::array items{spa_dict_item{PW_KEY_OBJECT_SERIAL, serial}};
    const spa_dict properties{0, static_cast<std::uint32_t>(items.size()), items.data()};
    addNodeWith(id, &properties);
}

void ScriptedPipeWire::addNodeWith(std::uint32_t id, const spa_dict* properties) {
    each<pw_registry_events>(
        registryListeners_.hooks, [&](const pw_registry_events& events, void* data) {
            events.global(data, id, 0, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, properties);
        });
}

void ScriptedPipeWire::removeNode(std::uint32_t id) {
    each<pw_registry_events>(
        registryListeners_.hooks,
        [&](const pw_registry_events& events, void* data) { events.global_remove(data, id); });
}

void ScriptedPipeWire::describeNode(const pw_node_info& info) {
    each<pw_node_events>(
        nodes_.back().listeners.hooks,
        [&](const pw_node_events& events, void* data) { events.info(data, &info); });
}

void ScriptedPipeWire::tellState(pw_stream_state state) {
    each<pw_stream_events>(streamListeners_.hooks, [&](const pw_stream_events& events, void* data) {
        events.state_changed(data, PW_STREAM_STATE_CONNECTING, state, nullptr);
    });
}

void ScriptedPipeWire::tellParameter(std::uint32_t id, const spa_pod* parameter) {
    each<pw_stream_events>(streamListeners_.hooks, [&](const pw_stream_events& events, void* data) {
        events.param_changed(data, id, parameter);
    });
}

void ScriptedPipeWire::addBuffer(pw_buffer& buffer) {
    each<pw_stream_events>(streamListeners_.hooks, [&](const pw_stream_events& events, void* data) {
        events.add_buffer(data, &buffer);
    });
}

void ScriptedPipeWire::removeBuffer(pw_buffer& buffer) {
    each<pw_stream_events>(streamListeners_.hooks, [&](const pw_stream_events& events, void* data) {
        events.remove_buffer(data, &buffer);
    });
}

void ScriptedPipeWire::bring(pw_buffer& buffer) {
    brought_ = &buffer;
    each<pw_stream_events>(streamListeners_.hooks, [](const pw_stream_events& events, void* data) {
        events.process(data);
    });
    arrival_.signal(arrival_.data, 1);
}

void ScriptedPipeWire::expireTimer() {
    timer_.expire(timer_.data, 1);
}

}  // namespace velmora
