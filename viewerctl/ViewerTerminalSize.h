#pragma once

namespace velmora {

/// How large a terminal is. A plain value; any thread.
struct ViewerTerminalSize final {
    /// Of the terminal behind a descriptor; what it does not tell is as below.
    static ViewerTerminalSize of(int descriptor);

    friend bool operator==(const ViewerTerminalSize&, const ViewerTerminalSize&) = default;

    int columns = 80;
    int rows = 24;
    /// Pixels.
    int cellWidth = 10;
    int cellHeight = 20;
};

}  // namespace velmora
