#include "tests/simulation/SimulationTrace.h"

#include <cstddef>
#include <cstdio>
#include <string>

namespace velmora {

namespace {

/// The prime of the 64-bit FNV-1a hash.
constexpr std::uint64_t prime = 1'099'511'628'211U;
constexpr double nanosecondsOfASecond = 1e9;

std::string textOf(const SimulationTrace::Argument& argument) {
    if (const auto* const text = std::get_if<std::string_view>(&argument)) {
        return std::string(*text);
    }
    return std::to_string(std::get<std::uint64_t>(argument));
}

}  // namespace

void SimulationTrace::note(std::string_view text, std::initializer_list<Argument> arguments) {
    add(static_cast<std::uint64_t>((clock_.now() - begin_).count()));
    add(text);
    for (const Argument& argument : arguments) {
        std::visit([this](const auto& value) { add(value); }, argument);
    }
    if (isPrinted_) {
        print(text, arguments);
    }
}

void SimulationTrace::add(std::uint64_t value) {
    hash_ = (hash_ ^ value) * prime;
    hash_ ^= hash_ >> 32U;
}

void SimulationTrace::add(std::string_view text) {
    for (const char character : text) {
        hash_ = (hash_ ^ static_cast<std::uint8_t>(character)) * prime;
    }
}

void SimulationTrace::print(std::string_view text,
                            std::initializer_list<Argument> arguments) const {
    std::string line;
    const auto* next = arguments.begin();
    for (const char character : text) {
        if (character == '#' && next != arguments.end()) {
            line += textOf(*next++);
        } else {
            line += character;
        }
    }
    const double seconds =
        static_cast<double>((clock_.now() - begin_).count()) / nanosecondsOfASecond;
    (void)std::printf("%14.9f s  %s\n", seconds, line.c_str());  // what is lost is lost
}

}  // namespace velmora
