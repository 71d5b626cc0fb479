#pragma once

#include <map>
#include <memory>
#include <string>

#include "tests/mac/objc/AutoreleasePool.h"

namespace velmora {

/// All doubles as they are at first. Nothing of the program's may be left of what is made while
/// this lives: the test fails at its end otherwise. One at a time, on the test's thread.
class PristineDoubles final {
  public:
    PristineDoubles();
    ~PristineDoubles();
    PristineDoubles(const PristineDoubles&) = delete;
    PristineDoubles& operator=(const PristineDoubles&) = delete;

  private:
    std::unique_ptr<bridge::AutoreleasePool> pool_;
    std::map<std::string, int> before_;
};

}  // namespace velmora
