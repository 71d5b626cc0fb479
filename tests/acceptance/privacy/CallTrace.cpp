#include "tests/acceptance/privacy/CallTrace.h"

#include <fstream>
#include <map>
#include <sstream>
#include <string_view>

namespace velmora {

namespace {

constexpr std::string_view unfinished = " <unfinished ...>";
constexpr std::string_view resumed = " resumed>";

/// A call sends what it sends when it begins, and has what it receives when it ends.
bool countsFromItsBeginning(std::string_view name) {
    return name.starts_with("send") || name.starts_with("write");
}

int digitAt(std::string_view text, std::size_t place) {
    return std::stoi(std::string(1, text[place]), nullptr, 16);
}

/// "name(arguments) = result" into a call; false for a line about something else.
bool parse(std::string_view text, TracedCall& call) {
    const std::size_t open = text.find('(');
    const std::size_t close = text.rfind(" = ");
    if (open == std::string_view::npos || close == std::string_view::npos || close < open) {
        return false;
    }
    call.name = text.substr(0, open);
    call.arguments = text.substr(open + 1, text.rfind(')', close) - open - 1);
    const std::string result(text.substr(close + 3));
    call.result = result.starts_with('?') ? -1 : std::stol(result);
    return true;
}

}  // namespace

std::string TracedCall::texts() const {
    std::string texts;
    bool isInside = false;
    for (std::size_t place = 0; place < arguments.size(); ++place) {
        const char letter = arguments[place];
        if (letter == '"') {
            isInside = !isInside;
        } else if (isInside && letter == '\\') {
            // With -xx each byte is told as \x and two digits.
            texts += static_cast<char>(digitAt(arguments, place + 2) * 16 +
                                       digitAt(arguments, place + 3));
            place += 3;
        }
    }
    return texts;
}

std::string TracedCall::socket() const {
    constexpr std::string_view beginning = ":[";
    constexpr std::string_view digits = "0123456789";
    const std::size_t begin = arguments.find(beginning);
    if (begin == std::string::npos) {
        return "";
    }
    const std::size_t number = begin + beginning.size();
    return arguments.substr(number, arguments.find_first_not_of(digits, number) - number);
}

HostLaunch tracedInto(const std::filesystem::path& file, const HostLaunch& launch) {
    const std::string calls =
        "trace=connect,bind,listen,sendto,sendmsg,sendmmsg,recvfrom,write,writev,pwrite64,pwritev,"
        "open,openat,creat,mkdir,mkdirat,mknod,mknodat,symlink,symlinkat,link,linkat,rename,"
        "renameat,renameat2";
    // The tracer is a process of its own beside the traced one. What it sees is bounded by what the
    // host does in one test.
    return startedBy("/usr/bin/strace",
                     {"-D", "-qq", "-f", "-yy", "-xx", "-ttt", "-s", "1048576", "-o", file, "-e",
                      calls, "-e", "signal=none"},
                     launch);
}

std::vector<TracedCall> callsIn(const std::filesystem::path& file) {
    std::vector<TracedCall> calls;
    /// By thread: the beginning of the call that it is in, and its place among the calls.
    std::map<std::string, std::pair<std::string, std::size_t>> begun;
    std::ifstream lines(file);
    std::string line;
    while (std::getline(lines, line)) {
        std::istringstream words(line);
        std::string thread;
        double time = 0;
        std::string text;
        words >> thread >> time >> std::ws;
        std::getline(words, text);
        std::size_t place = calls.size();
        if (text.ends_with(unfinished)) {
            begun[thread] = {text.substr(0, text.size() - unfinished.size()), calls.size()};
            calls.emplace_back();
            continue;
        }
        if (text.starts_with("<... ")) {
            const auto& [beginning, itsPlace] = begun[thread];
            text.replace(0, text.find(resumed) + resumed.size(), beginning);
            place = countsFromItsBeginning(text) ? itsPlace : place;
        }
        if (place == calls.size()) {
            calls.emplace_back();
        }
        calls[place].time = time;
        (void)parse(text, calls[place]);  // a line about the process's end stays an empty call
    }
    return calls;
}

}  // namespace velmora
