#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace velmora {

/// What a run has counted. Any thread, but for what only its end knows.
struct ChaosTally final {
    ChaosTally() = default;
    ChaosTally(const ChaosTally&) = delete;
    ChaosTally& operator=(const ChaosTally&) = delete;

    /// Counts a wrong answer and tells of the first of them.
    void wrong(const std::string& reason);
    /// Writes the run as one line, a word and then what each number is.
    void tell(const std::string& run, std::uint32_t seed) const;
    /// Expects that no answer was wrong and that the host holds no more than at the beginning.
    void expectNothingAmiss() const;

    std::atomic<std::size_t> answers = 0;
    std::atomic<std::size_t> pictures = 0;
    std::atomic<std::size_t> wrongAnswers = 0;
    /// Those that the connection's own deadline cut short, or the host's end.
    std::atomic<std::size_t> cutAnswers = 0;
    /// Connections of those who do not behave.
    std::atomic<std::size_t> strangers = 0;

    std::size_t misfortunes = 0;
    std::size_t restarts = 0;
    std::ptrdiff_t descriptorDrift = 0;
    std::ptrdiff_t threadDrift = 0;
    std::ptrdiff_t grownBytes = 0;
    std::chrono::milliseconds longestStart{0};
    std::chrono::milliseconds longestEnd{0};
    std::chrono::milliseconds longestListing{0};
    std::chrono::steady_clock::time_point begin = std::chrono::steady_clock::now();
};

}  // namespace velmora
