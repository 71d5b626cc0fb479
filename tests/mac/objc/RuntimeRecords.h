#pragma once

#include <cstddef>
#include <cstdint>

/// The records in which clang, compiling for the GNUstep runtime 1.9, describes classes to the
/// runtime. The GNU runtime reads the same records but for a few fields, which ClassRecords.cpp
/// rewrites before they are registered. Only layouts; nothing here is owned.
namespace velmora::bridge {

struct Class;

struct Selector {
    const char* name;
    const char* types;
};

using Implementation = void* (*)(void* self, const Selector* selector, ...);

struct InstanceVariable {
    const char* name;
    const char* type;
    int offset;
};

struct InstanceVariableList {
    int count;
    InstanceVariable first;
};

struct ProtocolList;

struct Protocol {
    /// Until the runtime has registered the protocol: the version of its layout.
    std::uintptr_t classOrVersion;
    const char* name;
    ProtocolList* adopted;
};

struct ProtocolList {
    ProtocolList* next;
    std::size_t count;
    Protocol* first;
};

struct Class {
    Class* metaclass;
    /// Until the runtime has linked the class: its superclass's name.
    const void* superclass;
    const char* name;
    long version;
    unsigned long flags;
    /// As the compiler writes it for a class of its own: the negative size of the class's own part.
    long instanceSize;
    InstanceVariableList* variables;
    void* methods;
    void* dispatchTable;
    Class* subclasses;
    Class* siblings;
    ProtocolList* protocols;
    void* extra;
    // The GNU runtime's record ends here.
    long layoutVersion;
    int** variableOffsets;
};

struct Category {
    const char* name;
    const char* className;
    void* instanceMethods;
    void* classMethods;
    ProtocolList* protocols;
};

struct SymbolTable {
    std::size_t selectorCount;
    Selector* selectors;
    std::uint16_t classCount;
    std::uint16_t categoryCount;
    /// Classes, then categories, then what the GNU runtime reads as it is.
    void* first;
};

struct Module {
    std::size_t version;
    std::size_t size;
    const char* file;
    SymbolTable* symbols;
};

}  // namespace velmora::bridge
