#include "tests/mac/objc/WeakReferences.h"

#include <algorithm>
#include <mutex>
#include <unordered_map>
#include <vector>

#include "tests/mac/objc/ReferenceCounts.h"
#include "tests/mac/objc/RuntimeRecords.h"

// NOLINTBEGIN(readability-identifier-naming): the names are the compiler's and the libraries'
extern "C" {
velmora::bridge::Class* objc_lookUpClass(const char* name);
const velmora::bridge::Selector* sel_registerName(const char* name);
void* class_replaceMethod(velmora::bridge::Class* type, const velmora::bridge::Selector* name,
                          velmora::bridge::Implementation implementation, const char* types);
unsigned char NSDecrementExtraRefCountWasZero(void* object);
}

namespace velmora::bridge {

namespace {

std::mutex lock;

/// Where the weak references to each object are. Guarded by `lock`; never destroyed, because
/// objects go until the very end of the process.
auto& places() {
    static auto& byObject = *new std::unordered_map<void*, std::vector<void**>>();
    return byObject;
}

void forget(void** place) {
    const auto found = places().find(*place);
    if (found != places().end()) {
        std::erase(found->second, place);
        if (found->second.empty()) {
            places().erase(found);
        }
    }
    *place = nullptr;
}

void remember(void** place, void* object) {
    *place = object;
    if (object != nullptr) {
        places()[object].push_back(place);
    }
}

/// Stands in for NSObject's release. The end of the last strong reference and the end of the weak
/// ones are one step, so that a weak reference never brings back an object that is going.
void* releaseObject(void* self, const Selector* /*selector*/, ...) {
    {
        const std::lock_guard guard(lock);
        if (NSDecrementExtraRefCountWasZero(self) == 0) {
            return nullptr;
        }
        const auto found = places().find(self);
        if (found != places().end()) {
            for (void** const place : found->second) {
                *place = nullptr;
            }
            places().erase(found);
        }
    }
    static const Selector* const dealloc = sel_registerName("dealloc");
    sendMessage(self, dealloc);
    return nullptr;
}

}  // namespace

void installWeakReferences() {
    static const bool isInstalled = [] {
        class_replaceMethod(objc_lookUpClass("NSObject"), sel_registerName("release"),
                            &releaseObject, "Vv16@0:8");
        return true;
    }();
    (void)isInstalled;  // the point was to do it
}

}  // namespace velmora::bridge

extern "C" {

using namespace velmora::bridge;

void* objc_storeWeak(void** place, void* object) {
    const std::lock_guard guard(lock);
    forget(place);
    remember(place, object);
    return object;
}

void* objc_initWeak(void** place, void* object) {
    const std::lock_guard guard(lock);
    remember(place, object);
    return object;
}

void objc_destroyWeak(void** place) {
    const std::lock_guard guard(lock);
    forget(place);
}

void* objc_loadWeakRetained(void** place) {
    const std::lock_guard guard(lock);
    return objc_retain(*place);
}

void* objc_loadWeak(void** place) {
    return objc_autorelease(objc_loadWeakRetained(place));
}

void objc_copyWeak(void** to, void** from) {
    const std::lock_guard guard(lock);
    remember(to, *from);
}

void objc_moveWeak(void** to, void** from) {
    const std::lock_guard guard(lock);
    remember(to, *from);
    forget(from);
}
}
// NOLINTEND(readability-identifier-naming)
