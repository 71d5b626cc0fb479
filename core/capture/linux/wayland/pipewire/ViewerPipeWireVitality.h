#pragma once

#include <chrono>
#include <optional>

namespace velmora {

/// Judges by its states whether a stream is alive. A plain value that is told the time.
class ViewerPipeWireVitality final {
  public:
    using Instant = std::chrono::steady_clock::time_point;

    enum class State { connecting, paused, streaming, failed };

    /// How long a stream may take until it streams first.
    static constexpr std::chrono::seconds startLimit{4};
    /// How long a pause that nobody asked for may last. On a rotation KWin pauses for 10 to 40 ms.
    static constexpr std::chrono::milliseconds pauseLimit{500};

    /// Of a stream that is being connected.
    explicit ViewerPipeWireVitality(Instant now) : limit_(now + startLimit) {}

    void enter(State state, Instant now);

    /// When it is dead unless something happens before; nothing while it streams.
    std::optional<Instant> limit() const { return limit_; }
    bool isDeadAt(Instant now) const { return limit_ && now >= *limit_; }
    /// Since when it has been streaming for the first time.
    std::optional<Instant> firstStreamed() const { return firstStreamed_; }

  private:
    std::optional<Instant> limit_;
    std::optional<Instant> firstStreamed_;
};

}  // namespace velmora
