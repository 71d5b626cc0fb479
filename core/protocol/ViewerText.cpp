#include "core/protocol/ViewerText.h"

#include <utility>

namespace velmora {

ViewerText::ViewerText(ViewerText&& other) noexcept {
    *this = std::move(other);
}

ViewerText& ViewerText::operator=(const ViewerText& other) {
    return *this = ViewerText(other);
}

ViewerText& ViewerText::operator=(ViewerText&& other) noexcept {
    if (other.isInPlace()) {
        std::copy_n(other.inPlace_.data(), other.size_, inPlace_.data());
    } else {
        elsewhere_ = std::move(other.elsewhere_);
    }
    size_ = std::exchange(other.size_, 0);
    return *this;
}

void ViewerText::appendElsewhere(std::string_view more) {
    if (isInPlace()) {
        elsewhere_.assign(inPlace_.data(), size_);
    }
    elsewhere_.append(more);
    size_ = elsewhere_.size();
}

}  // namespace velmora
