#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace velmora {

/// Lines to and from a program that a test starts: its standard input and its standard output. One
/// thread.
class Conversation final {
  public:
    /// Makes what it needs in a folder of the test's; the name is there once.
    Conversation(const std::filesystem::path& folder, const std::string& name);
    ~Conversation();
    Conversation(const Conversation&) = delete;
    Conversation& operator=(const Conversation&) = delete;

    /// A command that takes part in it.
    std::vector<std::string> joinedBy(const std::vector<std::string>& command) const;

    void say(const std::string& line);
    /// The next line; nothing when none comes in time.
    std::optional<std::string> hear(std::chrono::milliseconds limit);

  private:
    const std::filesystem::path toProgram_;
    const std::filesystem::path fromProgram_;
    int input_ = -1;
    int output_ = -1;
    std::string unread_;
};

}  // namespace velmora
