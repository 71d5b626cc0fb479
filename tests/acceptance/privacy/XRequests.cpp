#include "tests/acceptance/privacy/XRequests.h"

#include <algorithm>

namespace velmora {

namespace {

/// What one connection has sent, of which the beginning was read.
class RequestReader final {
  public:
    /// Takes what call number `call` has sent; adds the requests that are whole by now.
    void take(const std::string& bytes, std::size_t call, std::vector<XRequest>& requests) {
        unread_ += bytes;
        for (std::size_t length = nextLength(); length != 0 && length <= unread_.size();
             length = nextLength()) {
            if (isSetUp_) {
                requests.push_back({call, unread_.substr(0, length)});
            }
            isSetUp_ = true;
            unread_.erase(0, length);
        }
    }

  private:
    std::uint8_t byte(std::size_t place) const { return static_cast<std::uint8_t>(unread_[place]); }
    std::size_t word(std::size_t place) const {
        return byte(place) | std::size_t{byte(place + 1)} << 8;
    }
    static std::size_t padded(std::size_t length) { return (length + 3) / 4 * 4; }

    /// In bytes; 0 while that is not known yet. Of a client whose bytes are in this machine's
    /// order, the lower one first.
    std::size_t nextLength() const {
        constexpr std::size_t setUpLength = 12;
        constexpr std::size_t longHeader = 8;
        if (!isSetUp_) {
            return unread_.size() < setUpLength ? 0
                                                : setUpLength + padded(word(6)) + padded(word(8));
        }
        if (unread_.size() < 4) {
            return 0;
        }
        if (word(2) != 0) {
            return word(2) * 4;
        }
        return unread_.size() < longHeader ? 0 : (word(4) | word(6) << 16) * 4;
    }

    bool isSetUp_ = false;
    std::string unread_;
};

}  // namespace

std::vector<XRequest> xRequestsIn(const std::vector<TracedCall>& calls) {
    std::map<std::string, RequestReader> readers;
    std::vector<XRequest> requests;
    for (std::size_t number = 0; number < calls.size(); ++number) {
        const TracedCall& call = calls[number];
        const std::string socket = call.socket();
        if (call.name == "connect" && call.texts().find("/tmp/.X11-unix/") != std::string::npos) {
            readers[socket] = {};
        } else if (call.name != "recvfrom" && call.result > 0) {
            const auto reader = readers.find(socket);
            if (reader != readers.end()) {
                const auto sent = static_cast<std::size_t>(call.result);
                reader->second.take(call.texts().substr(0, sent), number, requests);
            }
        }
    }
    return requests;
}

}  // namespace velmora
