#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "viewerctl/ViewerConsole.h"
#include "viewerctl/ViewerHostList.h"
#include "viewerctl/ViewerLanguage.h"
#include "viewerctl/ViewerPictureFormat.h"

namespace velmora {

/// What the command line asks for. A plain value.
struct ViewerInvocation final {
    enum class Command { list, frame, doctor, stream, metrics, wall, watch };

    Command command = Command::list;
    std::vector<ViewerListedHost> hosts;
    /// For one request.
    std::chrono::milliseconds limit{5'000};
    bool isForPrograms = false;
    /// Which display: an id, a name or a number.
    std::string display;
    /// Where a picture goes; empty for standard output.
    std::string file;
    bool waitsForChange = false;
    /// Pictures a second.
    double rate = 5;
    /// How a terminal is told pictures; nothing for what suits it.
    std::optional<ViewerPictureFormat> format;
    /// Of the loopback interface.
    std::optional<std::uint16_t> port;
    /// Where the wall is served instead of on the loopback interface; empty for nowhere else.
    std::string address;
    bool isWithoutBrowser = false;
};

/// The command line. On the program's one thread, before anything else begins.
namespace ViewerCommandLine {

/// What was read of it: an invocation, or how the program ends at once, having shown its help or
/// what is wrong.
struct Reading final {
    bool isComplete = false;
    ViewerInvocation invocation;
    ViewerExit exit = ViewerExit::usage;
};

Reading read(int argumentCount, const char* const* arguments, const ViewerConsole& console);

}  // namespace ViewerCommandLine

}  // namespace velmora
