#include "bench/encoder/DesktopPicture.h"

#include <algorithm>
#include <array>
#include <random>
#include <utility>

namespace velmora::bench {

namespace {

using Colour = std::array<std::uint8_t, 3>;

class Canvas final {
  public:
    Canvas(std::int64_t width, std::int64_t height)
        : width_(width), height_(height), bytes_(static_cast<std::size_t>(width * height) * 4) {}

    void set(std::int64_t x, std::int64_t y, const Colour& colour) {
        if (x >= 0 && x < width_ && y >= 0 && y < height_) {
            std::ranges::copy(colour, &bytes_[static_cast<std::size_t>(y * width_ + x) * 4]);
        }
    }
    void fill(std::int64_t left, std::int64_t top, std::int64_t width, std::int64_t height,
              const Colour& colour) {
        for (std::int64_t y = top; y < top + height; ++y) {
            for (std::int64_t x = left; x < left + width; ++x) {
                set(x, y, colour);
            }
        }
    }
    std::vector<std::uint8_t> take() { return std::move(bytes_); }

  private:
    std::int64_t width_;
    std::int64_t height_;
    std::vector<std::uint8_t> bytes_;
};

constexpr std::int64_t glyphWidth = 7;
constexpr std::int64_t lineHeight = 15;

/// A glyph of random strokes, one pixel wide, in a cell of 7 × 15 pixels.
void drawGlyph(Canvas& canvas, std::int64_t left, std::int64_t top, const Colour& colour,
               std::mt19937& random) {
    for (int stroke = 0; stroke < 3; ++stroke) {
        const auto x = static_cast<std::int64_t>(random() % 6);
        const auto y = static_cast<std::int64_t>(2 + random() % 9);
        const bool isUpright = random() % 2 == 0;
        canvas.fill(left + (isUpright ? x : 0), top + (isUpright ? 2 : y), isUpright ? 1 : 5,
                    isUpright ? 9 : 1, colour);
    }
}

void drawText(Canvas& canvas, std::int64_t left, std::int64_t top, std::int64_t width,
              std::int64_t height, const Colour& colour, std::mt19937& random) {
    for (std::int64_t y = top; y + lineHeight <= top + height; y += lineHeight) {
        const auto lineWidth =
            width * static_cast<std::int64_t>(40 + random() % 60) / std::int64_t{100};
        for (std::int64_t x = left; x + glyphWidth <= left + lineWidth; x += glyphWidth) {
            if (random() % 6 != 0) {
                drawGlyph(canvas, x, y, colour, random);
            }
        }
    }
}

void drawWindow(Canvas& canvas, std::int64_t left, std::int64_t top, std::int64_t width,
                std::int64_t height, bool isDark, std::mt19937& random) {
    constexpr std::int64_t title = 24;
    constexpr std::int64_t margin = 10;
    const Colour paper = isDark ? Colour{40, 34, 30} : Colour{250, 250, 252};
    const Colour ink = isDark ? Colour{200, 220, 190} : Colour{30, 24, 20};
    canvas.fill(left, top, width, title, {90, 70, 60});
    canvas.fill(left, top + title, width, height - title, paper);
    drawText(canvas, left + margin, top + 4, width / 3, lineHeight, {255, 255, 255}, random);
    drawText(canvas, left + margin, top + title + margin, width - 2 * margin,
             height - title - 2 * margin, ink, random);
}

void drawPhotograph(Canvas& canvas, std::int64_t left, std::int64_t top, std::int64_t width,
                    std::int64_t height, std::mt19937& random) {
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            Colour colour{};
            for (std::size_t channel = 0; channel < colour.size(); ++channel) {
                const std::int64_t slope =
                    static_cast<std::int64_t>(channel + 1) * x * 120 / width + y * 100 / height;
                const auto noise = static_cast<std::int64_t>(random() % 24);
                colour[channel] = static_cast<std::uint8_t>(slope % 220 + noise);
            }
            canvas.set(left + x, top + y, colour);
        }
    }
}

}  // namespace

std::vector<std::uint8_t> desktopPicture(std::int64_t width, std::int64_t height) {
    constexpr std::uint32_t seed = 9090;
    std::mt19937 random(seed);
    Canvas canvas(width, height);
    for (std::int64_t y = 0; y < height; ++y) {
        for (std::int64_t x = 0; x < width; ++x) {
            canvas.set(x, y,
                       {static_cast<std::uint8_t>(150 - x * 90 / width),
                        static_cast<std::uint8_t>(60 + y * 90 / height), 40});
        }
    }
    drawWindow(canvas, width / 20, height / 20, width / 2, height * 3 / 5, false, random);
    drawWindow(canvas, width * 2 / 5, height / 4, width / 2, height * 3 / 5, true, random);
    drawPhotograph(canvas, width * 7 / 10, height / 20, width / 4, height / 3, random);
    canvas.fill(0, height - 36, width, 36, {48, 44, 40});
    drawText(canvas, 12, height - 26, width / 2, lineHeight, {230, 230, 230}, random);
    return canvas.take();
}

}  // namespace velmora::bench
