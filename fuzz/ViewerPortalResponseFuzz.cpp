// Whatever the desktop's portal answers, it is read to the same every time, and only a whole answer
// that says so is a grant.
#include "core/capture/linux/wayland/portal/ViewerPortalResponse.h"

#include <fuzzer/FuzzedDataProvider.h>
#include <sys/socket.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>

#include "core/runtime/ViewerCheck.h"

namespace velmora {
namespace {

constexpr std::array keys{
    "streams",      "session_handle",       "restore_token",        "position",
    "size",         "source_type",          "mapping_id",           "pipewire-serial",
    "persist_mode", "AvailableSourceTypes", "AvailableCursorModes", ""};
constexpr std::array types{"s",    "o",     "u",         "t",  "b", "(ii)",
                           "(iu)", "a{sv}", "a(ua{sv})", "as", "v"};

void succeed(int result) {
    viewerCheck(result >= 0, "a message can be written");
}

/// A bus that nobody is on the other side of: messages can be made for it, none is ever sent.
sd_bus* loneBus() {
    std::array<int, 2> ends{};
    sd_bus* bus = nullptr;
    succeed(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()));
    succeed(sd_bus_new(&bus));
    succeed(sd_bus_set_fd(bus, ends[0], ends[0]));
    succeed(sd_bus_start(bus));
    return bus;
}

/// Writes what the choices say, as deep as `depth` allows.
class Writer final {
  public:
    Writer(FuzzedDataProvider& choices, sd_bus_message* message)
        : choices_(choices), message_(message) {}

    void dictionary(int depth) {
        succeed(sd_bus_message_open_container(message_, 'a', "{sv}"));
        while (hasMore()) {
            succeed(sd_bus_message_open_container(message_, 'e', "sv"));
            succeed(sd_bus_message_append(message_, "s", choices_.PickValueInArray(keys)));
            variant(depth);
            succeed(sd_bus_message_close_container(message_));
        }
        succeed(sd_bus_message_close_container(message_));
    }

    void variant(int depth) {
        const std::string type = depth > 0 ? choices_.PickValueInArray(types) : "u";
        succeed(sd_bus_message_open_container(message_, 'v', type.c_str()));
        value(type, depth - 1);
        succeed(sd_bus_message_close_container(message_));
    }

  private:
    bool hasMore() { return choices_.remaining_bytes() > 0 && choices_.ConsumeBool(); }

    std::string text() {
        std::string result = choices_.ConsumeRandomLengthString(20);
        for (char& character : result) {
            // What a bus lets through: no zeros, and UTF-8.
            character = static_cast<char>(static_cast<unsigned char>(character) % 0x7FU + 1);
        }
        return result;
    }

    void value(const std::string& type, int depth) {
        if (type == "s") {
            succeed(sd_bus_message_append(message_, "s", text().c_str()));
        } else if (type == "o") {
            succeed(sd_bus_message_append(message_, "o", "/org/freedesktop/portal/session"));
        } else if (type == "u" || type == "b") {
            succeed(sd_bus_message_append(message_, type.c_str(),
                                          choices_.ConsumeIntegral<std::uint32_t>()));
        } else if (type == "t") {
            succeed(
                sd_bus_message_append(message_, "t", choices_.ConsumeIntegral<std::uint64_t>()));
        } else if (type == "(ii)" || type == "(iu)") {
            succeed(sd_bus_message_append(message_, type.c_str(),
                                          choices_.ConsumeIntegral<std::int32_t>(),
                                          choices_.ConsumeIntegral<std::int32_t>()));
        } else if (type == "a{sv}") {
            dictionary(depth);
        } else if (type == "v") {
            variant(depth);
        } else {
            list(type.substr(1), depth);
        }
    }

    void list(const std::string& type, int depth) {
        succeed(sd_bus_message_open_container(message_, 'a', type.c_str()));
        while (hasMore()) {
            if (type == "s") {
                succeed(sd_bus_message_append(message_, "s", text().c_str()));
                continue;
            }
            succeed(sd_bus_message_open_container(message_, 'r', "ua{sv}"));
            succeed(
                sd_bus_message_append(message_, "u", choices_.ConsumeIntegral<std::uint32_t>()));
            dictionary(depth);
            succeed(sd_bus_message_close_container(message_));
        }
        succeed(sd_bus_message_close_container(message_));
    }

    FuzzedDataProvider& choices_;
    sd_bus_message* const message_;
};

auto contentOf(const ViewerPortalResponse& response) {
    return std::tuple(response.access, response.sessionHandle, response.restoreToken,
                      response.streams);
}

void check(sd_bus_message* message, bool isWhole, std::uint32_t outcome) {
    succeed(sd_bus_message_rewind(message, 1));
    const ViewerPortalResponse response = ViewerPortalResponse::read(message);
    succeed(sd_bus_message_rewind(message, 1));
    viewerCheck(contentOf(ViewerPortalResponse::read(message)) == contentOf(response),
                "an answer is read to the same every time");
    const bool isGrant = response.access == ViewerCaptureAccess::granted;
    viewerCheck(isGrant == (isWhole && outcome == 0), "a whole answer that says so is a grant");
    viewerCheck(isGrant || (!response.streams && response.sessionHandle.empty()),
                "without a grant there is nothing");
    succeed(sd_bus_message_rewind(message, 1));
    (void)ViewerPortalOffer::read(message);  // of another form, which it may not be
}

}  // namespace
}  // namespace velmora

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace velmora;
    static sd_bus* const bus = loneBus();
    constexpr int deepest = 5;
    FuzzedDataProvider choices(bytes, size);
    sd_bus_message* message = nullptr;
    succeed(sd_bus_message_new_signal(bus, &message, "/a", "org.a", "Response"));
    const bool isOffer = choices.ConsumeBool();
    const bool isWhole = !isOffer && choices.ConsumeBool();
    const std::uint32_t outcome = choices.ConsumeIntegralInRange<std::uint32_t>(0, 3);
    if (!isOffer) {
        succeed(sd_bus_message_append(message, "u", outcome));
    }
    Writer writer(choices, message);
    if (isOffer || isWhole) {
        writer.dictionary(deepest);
    } else {
        writer.variant(deepest);
    }
    succeed(sd_bus_message_seal(message, 1, 0));
    check(message, isWhole, outcome);
    sd_bus_message_unref(message);
    return 0;
}
