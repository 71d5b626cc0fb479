#pragma once

#include <dlfcn.h>

namespace velmora {

/// A library that is loaded when it is first needed, and never unloaded. One thread at a time.
class ViewerLoadedLibrary final {
  public:
    explicit ViewerLoadedLibrary(const char* fileName)
        : library_(::dlopen(fileName, RTLD_NOW | RTLD_LOCAL)), isComplete_(library_ != nullptr) {}

    /// Null where the library is not there or lacks the function.
    template <typename Function>
    void find(const char* name, Function& function) {
        void* const found = library_ != nullptr ? ::dlsym(library_, name) : nullptr;
        function = reinterpret_cast<Function>(found);
        isComplete_ = isComplete_ && found != nullptr;
    }
    /// Whether everything has been found so far.
    bool isComplete() const { return isComplete_; }

  private:
    void* const library_;
    bool isComplete_;
};

}  // namespace velmora
