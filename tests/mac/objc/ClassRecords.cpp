#include "tests/mac/objc/ClassRecords.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

#include "tests/mac/objc/WeakReferences.h"

// Registers compiled classes: the linker sends each module's call of the GNU runtime here
// (--wrap=__objc_exec_class). All of it runs on one thread, before main.

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): names of others
extern "C" void __real___objc_exec_class(velmora::bridge::Module* module);
extern "C" velmora::bridge::Class* objc_lookUpClass(const char* name);
// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace velmora::bridge {

namespace {

constexpr std::size_t moduleVersion = 8;
constexpr std::size_t moduleSize = 32;
constexpr std::uintptr_t compiledProtocolVersion = 3;
constexpr std::uintptr_t protocolVersion = 2;
/// The compiler's mark for a class of its own layout. The GNU runtime would take it for a class
/// that is still being made.
constexpr unsigned long ownLayoutFlag = 0x10;

std::vector<const Class*>& registered() {
    static std::vector<const Class*> classes;
    return classes;
}

std::span<Class*> classes(const Module& module) {
    return {reinterpret_cast<Class**>(&module.symbols->first), module.symbols->classCount};
}

std::span<Category*> categories(const Module& module) {
    auto** const end = reinterpret_cast<Category**>(&module.symbols->first);
    return {end + module.symbols->classCount, module.symbols->categoryCount};
}

const char* superclassName(const Class& type) {
    return static_cast<const char*>(type.superclass);
}

/// The module's own class of that name, or null.
Class* ownClass(const Module& module, std::string_view name) {
    const auto own = classes(module);
    const auto found =
        std::ranges::find_if(own, [&](const Class* type) { return name == type->name; });
    return found == own.end() ? nullptr : *found;
}

void adapt(ProtocolList* list) {
    for (; list != nullptr; list = list->next) {
        for (Protocol* const protocol : std::span(&list->first, list->count)) {
            // One that is registered already holds a class instead of a version.
            if (protocol != nullptr && protocol->classOrVersion == compiledProtocolVersion) {
                protocol->classOrVersion = protocolVersion;
                adapt(protocol->adopted);
            }
        }
    }
}

/// The compiler counts sizes and offsets from the end of the superclass, which it does not know.
void moveBehindSuperclass(Class& type, long superclassSize) {
    constexpr long alignment = sizeof(void*);
    const long start = (superclassSize + alignment - 1) / alignment * alignment;
    type.instanceSize = start - type.instanceSize;
    if (type.variables == nullptr) {
        return;
    }
    const auto count = static_cast<std::size_t>(type.variables->count);
    for (std::size_t i = 0; i < count; ++i) {
        (&type.variables->first)[i].offset += static_cast<int>(start);
        *type.variableOffsets[i] += static_cast<int>(start);
    }
}

void adapt(const Module& module, Class& type) {
    if ((type.flags & ownLayoutFlag) == 0) {
        return;
    }
    type.flags &= ~ownLayoutFlag;
    type.metaclass->flags &= ~ownLayoutFlag;
    adapt(type.protocols);
    adapt(type.metaclass->protocols);
    Class* superclass = ownClass(module, superclassName(type));
    if (superclass != nullptr) {
        adapt(module, *superclass);
    } else {
        superclass = objc_lookUpClass(superclassName(type));
    }
    moveBehindSuperclass(type, superclass->instanceSize);
}

/// Whether the sizes of all superclasses can be known.
bool isReady(const Module* module) {
    return std::ranges::all_of(classes(*module), [&](const Class* type) {
        return ownClass(*module, superclassName(*type)) != nullptr ||
               objc_lookUpClass(superclassName(*type)) != nullptr;
    });
}

void registerModule(Module& module) {
    module.version = moduleVersion;
    module.size = moduleSize;
    for (Class* const type : classes(module)) {
        adapt(module, *type);
        registered().push_back(type);
    }
    for (Category* const category : categories(module)) {
        adapt(category->protocols);
    }
    __real___objc_exec_class(&module);
}

}  // namespace

const std::vector<const Class*>& compiledClasses() {
    return registered();
}

}  // namespace velmora::bridge

// NOLINTNEXTLINE(bugprone-reserved-identifier,readability-identifier-naming): the linker's name
extern "C" void __wrap___objc_exec_class(velmora::bridge::Module* module) {
    using namespace velmora::bridge;
    installWeakReferences();
    // A superclass may be in a module that comes later.
    static std::vector<Module*> waiting;
    waiting.push_back(module);
    auto ready = waiting.begin();
    while ((ready = std::ranges::find_if(waiting, isReady)) != waiting.end()) {
        Module* const next = *ready;
        waiting.erase(ready);
        registerModule(*next);
    }
}
