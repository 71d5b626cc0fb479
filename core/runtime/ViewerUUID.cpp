#include "core/runtime/ViewerUUID.h"

#include <algorithm>
#include <boost/uuid/uuid_io.hpp>

namespace velmora {

std::string makeRandomToken() {
    std::string token = uuidText(makeRandomUUID());
    std::erase(token, '-');
    return token;
}

std::string uuidText(const ViewerUUID& uuid) {
    return boost::uuids::to_string(uuid);
}

}  // namespace velmora
