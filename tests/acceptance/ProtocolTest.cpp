#include "tests/acceptance/ProtocolTest.h"

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

std::string Protocol::bytesAfter(std::string_view request) {
    const HTTPAnswer answer = host_->exchange(request);
    EXPECT_TRUE(answer.isWhole);
    return answer.bytes;
}

HTTPAnswer Protocol::get(std::string_view target) {
    return host_->exchange("GET " + std::string(target) + " HTTP/1.1\r\nHost: host\r\n\r\n");
}

HTTPAnswer Protocol::list() {
    return get(ViewerHostProtocolV1::displaysPath);
}

std::optional<JPEGPicture> Protocol::frameOf(const std::string& id) {
    return pictureIn(get(frameTarget(id)));
}

bool Protocol::eventually(const std::function<bool()>& holds) {
    constexpr int looks = 3000;
    for (int i = 0; i < looks; ++i) {
        if (holds()) {
            return true;
        }
        host_->pause();
    }
    return false;
}

}  // namespace velmora
