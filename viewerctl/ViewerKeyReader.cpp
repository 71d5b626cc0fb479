#include "viewerctl/ViewerKeyReader.h"

#include <array>
#include <optional>

namespace velmora {

namespace {

using Wish = ViewerKey::Wish;

constexpr char escape = '\033';
/// In bytes; what goes on beyond is no key.
constexpr std::size_t longestSequence = 32;

struct Binding final {
    std::string_view bytes;
    Wish wish;
};

/// Letters also as they lie on a Russian keyboard, arrows in both modes of a terminal.
constexpr std::array bindings{
    Binding{"n", Wish::next},          Binding{"т", Wish::next},
    Binding{"\t", Wish::next},         Binding{"\033[C", Wish::next},
    Binding{"\033OC", Wish::next},     Binding{"\033[B", Wish::next},
    Binding{"\033OB", Wish::next},     Binding{"p", Wish::previous},
    Binding{"з", Wish::previous},      Binding{"\033[Z", Wish::previous},
    Binding{"\033[D", Wish::previous}, Binding{"\033OD", Wish::previous},
    Binding{"\033[A", Wish::previous}, Binding{"\033OA", Wish::previous},
    Binding{" ", Wish::pause},         Binding{"q", Wish::end},
    Binding{"й", Wish::end},           Binding{"\033", Wish::end},
};

bool isFinal(char byte) {
    return byte >= 0x40 && byte <= 0x7E;
}

/// The bytes of the first key; 0 while its end is not there.
std::size_t lengthOfKey(std::string_view bytes) {
    const auto lead = static_cast<unsigned char>(bytes.front());
    if (lead >= 0xC0) {
        const std::size_t length = lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        return bytes.size() < length ? 0 : length;
    }
    if (bytes.front() != escape) {
        return 1;
    }
    if (bytes.size() == 1) {
        return 0;
    }
    if (bytes[1] == 'O') {
        return bytes.size() < 3 ? 0 : 3;
    }
    if (bytes[1] != '[') {
        return bytes[1] == escape ? 1 : 2;
    }
    for (std::size_t index = 2; index < bytes.size(); ++index) {
        if (isFinal(bytes[index])) {
            return index + 1;
        }
    }
    return bytes.size() < longestSequence ? 0 : bytes.size();
}

std::optional<ViewerKey> keyOf(std::string_view bytes) {
    if (bytes.size() == 1 && bytes.front() >= '1' && bytes.front() <= '9') {
        return ViewerKey{Wish::choose, bytes.front() - '0'};
    }
    for (const Binding& binding : bindings) {
        if (binding.bytes == bytes) {
            return ViewerKey{binding.wish};
        }
    }
    return std::nullopt;
}

}  // namespace

std::vector<ViewerKey> ViewerKeyReader::take(std::string_view bytes) {
    rest_ += bytes;
    std::vector<ViewerKey> keys;
    std::string_view left = rest_;
    while (!left.empty()) {
        const std::size_t length = lengthOfKey(left);
        if (length == 0) {
            break;
        }
        if (const auto key = keyOf(left.substr(0, length))) {
            keys.push_back(*key);
        }
        left.remove_prefix(length);
    }
    rest_ = std::string(left);
    return keys;
}

std::vector<ViewerKey> ViewerKeyReader::takeRest() {
    const auto key = keyOf(rest_);
    rest_.clear();
    return key ? std::vector<ViewerKey>{*key} : std::vector<ViewerKey>();
}

}  // namespace velmora
