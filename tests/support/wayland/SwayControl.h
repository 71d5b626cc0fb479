#pragma once

#include <filesystem>
#include <string>

#include "tests/support/desktop/HeadlessCompositor.h"

namespace velmora {

/// Tells a test's compositor what to do with its outputs. What cannot be done stops the test's
/// process with the reason. One thread.
class SwayControl final {
  public:
    explicit SwayControl(const HeadlessCompositor& compositor);
    /// The compositor whose runtime folder this is.
    explicit SwayControl(const std::filesystem::path& folder);

    /// Runs a command as a person's configuration has it; returns when it was carried out.
    void run(const std::string& command) const;

  private:
    std::string socketPath_;
};

}  // namespace velmora
