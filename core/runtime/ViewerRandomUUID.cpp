#include <sys/random.h>

#include <array>
#include <boost/uuid/random_generator.hpp>
#include <cstdint>
#include <random>

#include "core/runtime/ViewerCheck.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

/// An engine that starts from 256 bits of the system's: with one call for all of them, where a
/// generator that seeds itself asks for each word of its state.
std::mt19937_64 seededEngine() {
    std::array<std::uint32_t, 8> entropy{};
    const int result = ::getentropy(entropy.data(), sizeof entropy);
    viewerCheck(result == 0, "the system has random numbers");
    std::seed_seq seed(entropy.begin(), entropy.end());
    return std::mt19937_64(seed);
}

}  // namespace

ViewerUUID makeRandomUUID() {
    // Seeded once a thread, so that a fresh UUID costs no system call.
    thread_local std::mt19937_64 engine = seededEngine();
    thread_local boost::uuids::basic_random_generator<std::mt19937_64> generator(engine);
    return generator();
}

}  // namespace velmora
