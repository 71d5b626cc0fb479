#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace velmora {

/// The head of a host's answer, as far as the protocol gives it a meaning. A plain value; any
/// thread.
struct ViewerAnswerHead final {
    /// In bytes, the empty line included.
    static constexpr std::size_t longest = 16'384;

    /// Nothing unless `text` is the whole head of one HTTP/1.1 answer, at most `longest` bytes,
    /// with one type and one length, and the body neither encoded nor cut into pieces.
    static std::optional<ViewerAnswerHead> parse(std::string_view text);

    int status = 0;
    std::string contentType;
    std::size_t contentLength = 0;
    /// The frame's label as it came, unchecked.
    std::optional<std::string> label;
};

}  // namespace velmora
