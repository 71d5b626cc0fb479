#include "core/capture/linux/imaging/ViewerKeptJPEG.h"

namespace velmora {

namespace {

/// The markers between pieces take turns, so that a decoder notices a missing one.
constexpr std::uint8_t firstRestartMarker = 0xD0;
constexpr std::size_t restartMarkers = 8;
constexpr std::uint8_t endMarker = 0xD9;

}  // namespace

void ViewerKeptJPEG::begin(std::int64_t width, std::int64_t height) {
    grid_ = ViewerPieceGrid(width, height);
    isOutdated_.assign(grid_.count(), true);
    places_.resize(grid_.count());
}

std::optional<std::vector<std::uint8_t>> ViewerKeptJPEG::encode(const ViewerPixelBuffer& picture,
                                                                double quality,
                                                                ViewerJPEGCompressor& compressor) {
    if (quality_ != quality) {
        isOutdated_.assign(grid_.count(), true);
    }
    outdated_.clear();
    for (std::size_t piece = 0; piece < grid_.count(); ++piece) {
        if (isOutdated_[piece]) {
            outdated_.push_back(piece);
        }
    }
    if (!outdated_.empty()) {
        const auto fresh = compressor.compress(picture, grid_, outdated_, quality);
        if (!fresh) {
            return std::nullopt;
        }
        join(*fresh);
        isOutdated_.assign(grid_.count(), false);
        quality_ = quality;
    }
    return jpeg_;
}

void ViewerKeptJPEG::join(const ViewerJPEGCompressor::Parts& fresh) {
    joined_.assign(fresh.head.begin(), fresh.head.end());
    auto nextFresh = fresh.pieces.begin();
    for (std::size_t piece = 0; piece < grid_.count(); ++piece) {
        const auto bytes = isOutdated_[piece] ? *nextFresh++ : kept(piece);
        places_[piece] = {joined_.size(), bytes.size()};
        joined_.insert(joined_.end(), bytes.begin(), bytes.end());
        const bool isLast = piece + 1 == grid_.count();
        joined_.push_back(ViewerJPEGCompressor::markerPrefix);
        joined_.push_back(isLast ? endMarker : firstRestartMarker + piece % restartMarkers);
    }
    jpeg_.swap(joined_);
    joined_.reserve(jpeg_.capacity());
}

}  // namespace velmora
