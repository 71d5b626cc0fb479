#include "core/runtime/ViewerUUID.h"

#include <algorithm>
#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace velmora {

ViewerUUID makeRandomUUID() {
    // Seeded once a thread by the operating system, so that a fresh UUID costs no system call.
    thread_local boost::uuids::random_generator_mt19937 generator;
    return generator();
}

std::string makeRandomToken() {
    std::string token = uuidText(makeRandomUUID());
    std::erase(token, '-');
    return token;
}

std::string uuidText(const ViewerUUID& uuid) {
    return boost::uuids::to_string(uuid);
}

}  // namespace velmora
