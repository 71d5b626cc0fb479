#include "core/capture/MacDisplayCaptureSource.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <utility>

#include "core/capture/MacDisplayCaptureSession.h"
#include "core/capture/MacDisplayIdentifier.h"
#include "core/capture/ViewerLocalizedOrder.h"
#include "core/runtime/ViewerBoundedCall.h"

namespace velmora {

namespace {

using Reported = std::shared_ptr<const ViewerScreenCapture::Displays>;
using Screens = std::vector<ViewerNativeScreen>;
using NativeDisplays = std::map<std::string, ViewerNativeDisplay>;

/// Whether the list itself tells every name, so that nobody has to ask the screens.
bool isNamed(const ViewerScreenCapture::Displays& displays) {
    return !displays.empty() && std::ranges::all_of(displays, [](const auto& display) {
        return display.name.has_value();
    });
}

ViewerTask<Screens> readScreens(std::shared_ptr<ViewerScreenCapture> capture) {
    co_return capture->screens();
}

std::map<std::uint32_t, std::string> namesOf(const Screens& screens) {
    std::map<std::uint32_t, std::string> names;
    for (const ViewerNativeScreen& screen : screens) {
        if (screen.number.has_value()) {
            names[*screen.number] = screen.name;
        }
    }
    return names;
}

std::string nameOf(const ViewerNativeDisplay& display,
                   const std::map<std::uint32_t, std::string>& namesOfScreens) {
    if (display.name.has_value()) {
        return *display.name;
    }
    const auto name = namesOfScreens.find(display.number);
    return name != namesOfScreens.end() ? name->second
                                        : "Display " + std::to_string(display.number);
}

/// The order of a listing.
class DisplayOrder final {
  public:
    explicit DisplayOrder(const NativeDisplays& nativeDisplays) : nativeDisplays_(nativeDisplays) {}

    bool comesBefore(const ViewerHostDisplay& a, const ViewerHostDisplay& b) const {
        if (isMain(a) != isMain(b)) {
            return isMain(a);
        }
        return a.name != b.name ? ViewerLocalizedOrder::comesBefore(a.name, b.name) : a.id < b.id;
    }

  private:
    bool isMain(const ViewerHostDisplay& display) const {
        return nativeDisplays_.at(display.id).isMain;
    }

    const NativeDisplays& nativeDisplays_;
};

/// Names that differ only in letter case are in no order, while equal names are ordered by id: less
/// than `std::sort` needs of an order to be defined. Insertion before the first that comes after
/// asks for no more than a partial order, and is safe with any comparison. Displays are few.
void insert(ViewerHostDisplay display, std::vector<ViewerHostDisplay>& sorted,
            const DisplayOrder& order) {
    const auto next = std::ranges::find_if(
        sorted, [&](const ViewerHostDisplay& other) { return order.comesBefore(display, other); });
    sorted.insert(next, std::move(display));
}

}  // namespace

/// What the platform reported, and what was made of it. Never changes.
struct MacDisplayCaptureSource::Listing final {
    Listing(Reported reportedDisplays, Screens attachedScreens)
        : reported(std::move(reportedDisplays)), screens(std::move(attachedScreens)) {
        const auto names = namesOf(screens);
        std::vector<ViewerHostDisplay> unsorted;
        std::vector<ViewerHostDisplay> sorted;
        for (const ViewerNativeDisplay& display : *reported) {
            if (!display.uuidText.has_value()) {
                continue;
            }
            const std::string id = MacDisplayIdentifier::identifier(*display.uuidText);
            nativeDisplays.insert_or_assign(id, display);
            unsorted.emplace_back(id, nameOf(display, names), display.width, display.height);
        }
        const DisplayOrder order(nativeDisplays);
        for (ViewerHostDisplay& display : unsorted) {
            insert(std::move(display), sorted, order);
        }
        displays = std::move(sorted);
    }

    const Reported reported;
    const Screens screens;
    /// By display id.
    NativeDisplays nativeDisplays;
    ViewerHostDisplays displays;
};

MacDisplayCaptureSource::MacDisplayCaptureSource(std::shared_ptr<ViewerScreenCapture> capture,
                                                 ViewerExecutors& executors,
                                                 std::shared_ptr<ViewerContinuousClock> clock)
    : capture_(std::move(capture)),
      executors_(executors),
      clock_(std::move(clock)),
      mainThread_(executors.mainExecutor()) {}

ViewerTask<ViewerHostDisplays> MacDisplayCaptureSource::displays() {
    return list(shared_from_this());
}

std::optional<ViewerHostDisplays> MacDisplayCaptureSource::displaysAtHand() {
    if (!capture_->preflightAccess()) {
        remember(nullptr);
        return ViewerHostDisplays();
    }
    Reported reported = capture_->displaysAtHand();
    if (!reported || !isNamed(*reported)) {
        return std::nullopt;
    }
    const auto listing = listingOf(std::move(reported), {});
    remember(listing);
    return listing->displays;
}

std::shared_ptr<ViewerHostCaptureSession> MacDisplayCaptureSource::makeSession(
    const std::string& displayID) {
    const auto listing = lastListing();
    if (!listing) {
        return nullptr;
    }
    const auto display = listing->nativeDisplays.find(displayID);
    if (display == listing->nativeDisplays.end()) {
        return nullptr;
    }
    return std::make_shared<MacDisplayCaptureSession>(display->second, capture_, executors_,
                                                      clock_);
}

ViewerTask<ViewerHostDisplays> MacDisplayCaptureSource::list(
    std::shared_ptr<MacDisplayCaptureSource> self) {
    std::shared_ptr<const Listing> listing;
    if (self->capture_->preflightAccess()) {
        const auto ask = [&capture =
                              *self->capture_](ViewerScreenCapture::DisplaysCompletion completion) {
            capture.shareableDisplays(std::move(completion));
        };
        const auto answer = co_await ViewerBoundedCall<Reported>::answer(
            self->clock_, ViewerScreenCapture::answerLimit, ask);
        // No answer in time is an error like the one that the platform reports.
        const Reported reported = answer.value_or(nullptr);
        if (reported) {
            Screens screens;
            if (!isNamed(*reported)) {
                screens = co_await self->mainThread_.run(readScreens(self->capture_));
            }
            listing = self->listingOf(reported, std::move(screens));
        }
    }
    self->remember(listing);
    co_return listing ? listing->displays : ViewerHostDisplays();
}

std::shared_ptr<const MacDisplayCaptureSource::Listing> MacDisplayCaptureSource::listingOf(
    Reported reported, Screens screens) {
    // Every frame request lists first. A platform that notices changes itself passes an unchanged
    // list as the same object, and a listing follows from the list and the screens alone.
    auto last = lastListing();
    if (last && last->reported == reported && last->screens == screens) {
        return last;
    }
    return std::make_shared<const Listing>(std::move(reported), std::move(screens));
}

void MacDisplayCaptureSource::remember(std::shared_ptr<const Listing> listing) {
    const ViewerLockGuard guard(lock_);
    listing_.swap(listing);
}

std::shared_ptr<const MacDisplayCaptureSource::Listing> MacDisplayCaptureSource::lastListing() {
    const ViewerLockGuard guard(lock_);
    return listing_;
}

}  // namespace velmora
