#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

namespace velmora {

/// A text that lies in place while it has no more than 256 bytes, as all those have that requests
/// are answered with, so that it is made, copied and moved without taking memory. A plain value;
/// any thread.
class ViewerText final {
  public:
    ViewerText() = default;
    // NOLINTNEXTLINE(google-explicit-constructor): a text is the same wherever it lies.
    ViewerText(const std::convertible_to<std::string_view> auto& text) { append(text); }
    ViewerText(const ViewerText& other) { append(other); }
    ViewerText(ViewerText&& other) noexcept;
    ViewerText& operator=(const ViewerText& other);
    ViewerText& operator=(ViewerText&& other) noexcept;
    ~ViewerText() = default;

    void append(std::string_view more) {
        if (size_ + more.size() > inPlace_.size()) {
            appendElsewhere(more);
            return;
        }
        std::copy(more.begin(), more.end(), inPlace_.begin() + size_);
        size_ += more.size();
    }

    // NOLINTNEXTLINE(google-explicit-constructor): a text is the same wherever it lies.
    operator std::string_view() const { return {data(), size_}; }
    const char* data() const { return isInPlace() ? inPlace_.data() : elsewhere_.data(); }
    std::size_t size() const { return size_; }

    friend bool operator==(const ViewerText& a,
                           const std::convertible_to<std::string_view> auto& b) {
        return std::string_view(a) == std::string_view(b);
    }

  private:
    bool isInPlace() const { return size_ <= inPlace_.size(); }
    void appendElsewhere(std::string_view more);

    std::size_t size_ = 0;
    /// Its first bytes are the text, unless that is longer.
    std::array<char, 256> inPlace_;
    std::string elsewhere_;
};

}  // namespace velmora
