#pragma once

namespace velmora::bridge {

/// An autorelease pool for code that is not Objective-C: objects that are released later in this
/// scope go with it. The thread that makes it destroys it.
class AutoreleasePool final {
  public:
    AutoreleasePool();
    ~AutoreleasePool();
    AutoreleasePool(const AutoreleasePool&) = delete;
    AutoreleasePool& operator=(const AutoreleasePool&) = delete;

  private:
    void* const pool_;
};

}  // namespace velmora::bridge
