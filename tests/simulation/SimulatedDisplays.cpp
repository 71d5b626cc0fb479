#include "tests/simulation/SimulatedDisplays.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

namespace velmora {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t mostDisplays = 7;
constexpr std::size_t displaysOfEqualNames = 2;
constexpr std::int64_t fullWidth = 1920;
constexpr std::int64_t fullHeight = 1080;

std::string uuid(std::size_t identity, const char* letters) {
    return std::string(letters) + "8832A-2D66-02CA-B9F7-8F30A301B20" + std::to_string(identity);
}

/// Main display first, then by name, those of one name by identifier.
bool comesBefore(const ViewerHostDisplay& a, bool aIsMain, const ViewerHostDisplay& b,
                 bool bIsMain) {
    if (aIsMain != bIsMain) {
        return aIsMain;
    }
    return a.name != b.name ? a.name < b.name : a.id < b.id;
}

}  // namespace

SimulatedDisplays::SimulatedDisplays(SimulationCourse& course)
    : course_(course), haveNames_(course.oneIn(2)), haveEqualNames_(course.oneIn(3)) {
    const std::size_t count = course.world.choose(mostDisplays) + 1;
    for (std::size_t number = 1; number <= count; ++number) {
        displays_.push_back(make(number, number));
    }
    if (count > displaysOfEqualNames) {
        if (haveEqualNames_) {
            course.reach(SimulationState::equalNames);
        }
        if (course.oneIn(8)) {
            // One more with the identifier, name and size of the last: a mirror of it.
            displays_.push_back(displays_.back());
            displays_.back().native.number = static_cast<std::uint32_t>(count) + 1;
            displays_.back().native.name = displays_.back().name;
            displays_[count - 1].native.name = displays_.back().name;
            course.reach(SimulationState::equalIdentifiers);
        } else if (course.oneIn(4)) {
            displays_.push_back(make(count, count + 1));
            displays_.back().isAttached = false;
            course.reach(SimulationState::numberTakenOver);
        }
    }
    report();
}

SimulatedDisplays::Display SimulatedDisplays::make(std::size_t number, std::size_t identity) const {
    Display display;
    display.native.number = static_cast<std::uint32_t>(number);
    display.native.uuidText = uuid(identity, "37D");
    display.native.width = fullWidth;
    display.native.height = fullHeight;
    display.native.isMain = number == 1;
    display.identifier = "macos-display:" + uuid(identity, "37d");
    std::ranges::transform(display.identifier, display.identifier.begin(), [](char character) {
        return static_cast<char>(character >= 'A' && character <= 'Z' ? character + ' '
                                                                      : character);
    });
    const bool isNamedAlike = haveEqualNames_ && number <= displaysOfEqualNames + 1 && number > 1;
    display.name = isNamedAlike ? "Screen" : "Display " + std::to_string(number);
    if (haveNames_) {
        display.native.name = display.name;
    }
    return display;
}

std::vector<std::string> SimulatedDisplays::identifiers() const {
    std::vector<std::string> all;
    for (const Display& display : displays_) {
        if (std::ranges::find(all, display.identifier) == all.end()) {
            all.push_back(display.identifier);
        }
    }
    return all;
}

std::vector<ViewerNativeScreen> SimulatedDisplays::screens() const {
    std::vector<ViewerNativeScreen> all{{std::nullopt, "no display's"}};
    for (const Display& display : displays_) {
        // The others are named after their numbers.
        if (display.name == "Screen") {
            all.push_back({display.native.number, display.name});
        }
    }
    return all;
}

std::vector<ViewerHostDisplay> SimulatedDisplays::expected() const {
    std::vector<std::pair<ViewerHostDisplay, bool>> all;
    for (const Display& display : displays_) {
        if (display.isAttached) {
            all.emplace_back(ViewerHostDisplay(display.identifier, display.name,
                                               display.native.width, display.native.height),
                             display.native.isMain);
        }
    }
    std::ranges::sort(all, [](const auto& a, const auto& b) {
        return comesBefore(a.first, a.second, b.first, b.second);
    });
    std::vector<ViewerHostDisplay> sorted;
    sorted.reserve(all.size());
    for (const auto& [display, isMain] : all) {
        sorted.push_back(display);
    }
    return sorted;
}

ViewerTask<void> SimulatedDisplays::live(SimulatedDisplays* self) {
    SimulationCourse& course = self->course_;
    if (course.isCalm || course.oneIn(2)) {
        co_return;
    }
    for (std::size_t changes = course.world.choose(4) + 1; changes > 0; --changes) {
        (void)co_await course.world.sleep(course.anyOf(20ms, 300ms, 2s, 5s));
        self->change();
    }
}

void SimulatedDisplays::change() {
    Display& display = displays_[course_.world.choose(displays_.size())];
    display.isAttached = !display.isAttached;
    if (display.isAttached) {
        // Two displays have one number one after the other, never at once.
        for (Display& other : displays_) {
            if (&other != &display && other.native.number == display.native.number) {
                other.isAttached = false;
            }
        }
    }
    course_.note("display # (#) #", display.native.number, display.identifier,
                 display.isAttached ? "comes" : "goes");
    course_.reach(display.isAttached ? SimulationState::displayCameBack
                                     : SimulationState::displayWentAway);
    report();
}

void SimulatedDisplays::report() {
    ViewerScreenCapture::Displays all;
    for (const Display& display : displays_) {
        if (display.isAttached) {
            all.push_back(display.native);
        }
    }
    reported_ = std::make_shared<const ViewerScreenCapture::Displays>(std::move(all));
}

}  // namespace velmora
