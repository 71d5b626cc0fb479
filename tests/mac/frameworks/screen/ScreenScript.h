#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace velmora {

class FakeStream;

/// What the system knows of displays and screens, and how it answers. One for the process; the
/// test's thread sets it.
struct ScreenScript final {
    struct Display final {
        std::uint32_t number = 0;
        long width = 0;
        long height = 0;
        bool isMain = false;
        /// Nothing: the display has no UUID.
        std::optional<std::string> uuid = "37D8832A-2D66-02CA-B9F7-8F30A301B230";
        bool hasUUIDText = true;
    };
    /// A value of a description or of an attachment: none, or of one type or another.
    using Value = std::variant<std::monostate, std::int64_t, double, std::string>;
    struct Screen final {
        Value number;
        /// Nothing is what is never promised and must do no harm.
        std::optional<std::string> name;
    };
    enum class Answer { success, error, none };

    static ScreenScript& shared();

    bool isGranted = true;
    bool grantsOnRequest = false;
    std::vector<Display> displays;
    std::vector<Screen> screens;
    Answer listing = Answer::success;
    /// A listing is answered with neither displays nor an error.
    bool givesNeither = false;
    /// Listings, starts and stops answer before the call returns, not on the system's queue.
    bool answersAtOnce = false;
    bool refusesOutputs = false;
    Answer starting = Answer::success;
    /// Called for each stream that was told to start.
    std::function<void(FakeStream& stream)> onStart;
    Answer stopping = Answer::success;

    /// The streams made so far that somebody still holds.
    std::vector<std::shared_ptr<FakeStream>> streams() const;

    /// How many streams went while they were capturing: on macOS the system would go on for them.
    int abandonedStreams = 0;
    std::vector<std::weak_ptr<FakeStream>> made;
};

/// Runs something of the system's: at once, or on a queue of its own.
void runAsSystem(std::function<void()> work);

}  // namespace velmora
