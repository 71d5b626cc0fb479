#pragma once

#include <unistd.h>

#include <utility>

namespace velmora {

/// The descriptor of one socket, closed with it. Owned by whoever holds it; any thread.
class ViewerSocketDescriptor final {
  public:
    ViewerSocketDescriptor() = default;
    explicit ViewerSocketDescriptor(int number) : number_(number) {}
    ViewerSocketDescriptor(ViewerSocketDescriptor&& other) noexcept
        : number_(std::exchange(other.number_, -1)) {}
    ViewerSocketDescriptor& operator=(ViewerSocketDescriptor&& other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~ViewerSocketDescriptor() { close(); }

    bool isOpen() const { return number_ >= 0; }
    /// -1 for none.
    int number() const { return number_; }
    void close() {
        if (isOpen()) {
            ::close(std::exchange(number_, -1));
        }
    }

  private:
    int number_ = -1;
};

}  // namespace velmora
