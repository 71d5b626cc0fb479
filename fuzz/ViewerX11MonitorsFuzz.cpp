// Whatever an X server answers to the questions for its monitors, nothing outside its answers is
// read, and the monitors that come of it are fit to be listed.
#include "core/capture/linux/x11/ViewerX11Monitors.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "core/protocol/ViewerUTF8.h"
#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// Questions by their numbers in the protocol; RandR's have a minor one behind its major one.
constexpr std::uint8_t getAtomName = 17;
constexpr std::uint8_t queryExtension = 98;
constexpr std::uint8_t randr = 140;
constexpr std::uint8_t queryVersion = 0;

constexpr std::size_t shortestReply = 32;

void append(Bytes& bytes, std::uint32_t number, std::size_t length) {
    for (std::size_t index = 0; index < length; ++index) {
        bytes.push_back(static_cast<std::uint8_t>(number >> (8 * index)));
    }
}

/// What a server says to a client that it lets in: one screen with a root window, no depths.
Bytes welcome() {
    constexpr std::uint32_t screenBytes = 40;
    constexpr std::uint32_t setupBytes = 32;
    Bytes bytes{1, 0};
    append(bytes, 11, 2);
    append(bytes, 0, 2);
    append(bytes, (setupBytes + screenBytes) / 4, 2);
    append(bytes, 0, 4);
    append(bytes, 0x200000, 4);  // first id
    append(bytes, 0x1fffff, 4);  // ids' mask
    append(bytes, 0, 4);
    append(bytes, 0, 2);       // no name of a vendor
    append(bytes, 0xffff, 2);  // longest request
    bytes.insert(bytes.end(), {1, 0, 0, 0, 32, 32, 8, 255});
    append(bytes, 0, 4);
    append(bytes, 99, 4);  // root window
    bytes.resize(bytes.size() + screenBytes - 4);
    return bytes;
}

/// A server of one client whose answers are the input's. Speaks on a thread of its own.
class ScriptedServer final {
  public:
    explicit ScriptedServer(FuzzedDataProvider& choices) : choices_(choices) {}

    void serve(int client) {
        client_ = client;
        constexpr std::size_t greetingBytes = 12;
        const auto greeting = receive(greetingBytes);
        if (!greeting) {
            return;
        }
        const auto padded = [&](std::size_t place) {
            const std::size_t length = (*greeting)[place] + 256U * (*greeting)[place + 1];
            return (length + 3) / 4 * 4;
        };
        if (!receive(padded(6) + padded(8))) {
            return;
        }
        send(welcome());
        while (answerNext()) {
        }
    }

  private:
    std::optional<Bytes> receive(std::size_t count) const {
        Bytes bytes(count);
        const bool isWhole = count == 0 || ::recv(client_, bytes.data(), count, MSG_WAITALL) ==
                                               static_cast<ssize_t>(count);
        return isWhole ? std::optional(bytes) : std::nullopt;
    }
    void send(const Bytes& bytes) const {
        // A client that has gone takes nothing any more.
        (void)::send(client_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    /// False at the end, the client's or the server's.
    bool answerNext() {
        const auto head = receive(4);
        const std::size_t length = head ? 4U * ((*head)[2] + 256U * (*head)[3]) : 0;
        if (length < 4 || !receive(length - 4)) {
            return false;
        }
        ++sequence_;
        constexpr unsigned oneOfSixteen = 15;
        const auto fate = choices_.ConsumeIntegralInRange<unsigned>(0, oneOfSixteen);
        if (fate == 1) {
            return false;
        }
        Bytes bytes(shortestReply);
        if (fate != 2) {
            bytes = reply((*head)[0], (*head)[1]);
        }
        bytes[2] = static_cast<std::uint8_t>(sequence_);
        bytes[3] = static_cast<std::uint8_t>(sequence_ >> 8U);
        send(bytes);
        return true;
    }

    /// A reply whose length is what it says; everything else of it is the input's, but for what
    /// leads on to the other questions.
    Bytes reply(std::uint8_t major, std::uint8_t minor) {
        constexpr std::size_t mostWords = 100;
        const bool hasRest = major == randr || major == getAtomName;
        const auto words = hasRest ? choices_.ConsumeIntegralInRange<std::size_t>(0, mostWords) : 0;
        Bytes bytes = choices_.ConsumeBytes<std::uint8_t>(shortestReply + 4 * words);
        bytes.resize(shortestReply + 4 * words);
        bytes[0] = 1;
        bytes[4] = static_cast<std::uint8_t>(words);
        bytes[5] = bytes[6] = bytes[7] = 0;
        if (major == queryExtension) {
            bytes[8] = 1;
            bytes[9] = randr;
        } else if (major == randr && minor == queryVersion && bytes[8] % 4 != 0) {
            std::fill(bytes.begin() + 8, bytes.begin() + 16, std::uint8_t{0});
            bytes[8] = 1;
            bytes[12] = 5;
        }
        return bytes;
    }

    FuzzedDataProvider& choices_;
    int client_ = -1;
    std::uint32_t sequence_ = 0;
};

/// Where a display's clients connect, as long as the process runs: a free port of the loopback
/// interface, by which the display is numbered.
class Display final {
  public:
    Display() : listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const general = reinterpret_cast<sockaddr*>(&address);
        viewerCheck(::bind(listener_, general, length) == 0 && ::listen(listener_, 1) == 0 &&
                        ::getsockname(listener_, general, &length) == 0,
                    "a port can be listened to");
        constexpr int firstPort = 6000;
        name_ = "127.0.0.1:" + std::to_string(ntohs(address.sin_port) - firstPort);
    }
    ~Display() { ::close(listener_); }
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    const std::string& name() const { return name_; }
    int listener() const { return listener_; }

  private:
    const int listener_;
    std::string name_;
};

void check(const std::vector<ViewerX11Monitor>& monitors) {
    for (const ViewerX11Monitor& monitor : monitors) {
        viewerCheck(ViewerUTF8::isValid(monitor.name), "a monitor's name is valid UTF-8");
        viewerCheck(
            !monitor.rectangle.isEmpty() && monitor.rectangle.x >= 0 && monitor.rectangle.y >= 0,
            "a monitor shows a part of the root window");
    }
    viewerCheck(
        monitors.empty() || std::ranges::count(monitors, true, &ViewerX11Monitor::isMain) == 1,
        "one monitor is the main one");
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    static const Display display;
    FuzzedDataProvider choices(bytes, size);
    std::thread server([&choices] {
        const int client = ::accept(display.listener(), nullptr, nullptr);
        // Short answers are not kept back for longer ones; where that is not known, it is slower.
        const int isAtOnce = 1;
        (void)::setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &isAtOnce, sizeof isAtOnce);
        ScriptedServer(choices).serve(client);
        ::close(client);
    });
    if (const auto connection = ViewerX11Connection::connect(display.name())) {
        if (const auto monitors = readMonitors(*connection)) {
            check(*monitors);
        }
        connection->abort();
    }
    server.join();
    return 0;
}
