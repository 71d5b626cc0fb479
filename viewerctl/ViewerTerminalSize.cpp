#include "viewerctl/ViewerTerminalSize.h"

#include <sys/ioctl.h>

#include <algorithm>

namespace velmora {

namespace {

/// So that no terminal makes a picture of it costly.
constexpr int mostCells = 1'000;
constexpr int largestCell = 100;

}  // namespace

ViewerTerminalSize ViewerTerminalSize::of(int descriptor) {
    ViewerTerminalSize size;
    winsize told{};
    if (::ioctl(descriptor, TIOCGWINSZ, &told) != 0 || told.ws_col == 0 || told.ws_row == 0) {
        return size;
    }
    size.columns = std::min<int>(told.ws_col, mostCells);
    size.rows = std::min<int>(told.ws_row, mostCells);
    if (told.ws_xpixel >= told.ws_col && told.ws_ypixel >= told.ws_row) {
        size.cellWidth = std::min(told.ws_xpixel / told.ws_col, largestCell);
        size.cellHeight = std::min(told.ws_ypixel / told.ws_row, largestCell);
    }
    return size;
}

}  // namespace velmora
