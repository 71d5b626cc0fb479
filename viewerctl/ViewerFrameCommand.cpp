#include "viewerctl/ViewerFrameCommand.h"

#include <chrono>
#include <utility>

#include "viewerctl/ViewerBackOff.h"
#include "viewerctl/ViewerPictureFile.h"
#include "viewerctl/ViewerTerminalText.h"

namespace velmora {

namespace {

/// Between two looks for a change.
constexpr std::chrono::milliseconds betweenLooks{200};

}  // namespace

ViewerFrameCommand::ViewerFrameCommand(ViewerHostClient& client, const ViewerConsole& console,
                                       Options options)
    : client_(client), console_(console), options_(std::move(options)) {}

ViewerTask<ViewerExit> ViewerFrameCommand::run() {
    const auto frame = co_await fetch();
    if (!frame) {
        if (!client_.isStopped()) {
            console_.errors << options_.host.text() << ": "
                            << textOf(frame.failure(), console_.language) << '\n';
        }
        co_return ViewerExit::someFailed;
    }
    co_return write(*frame);
}

ViewerTask<ViewerOutcome<ViewerHostFrame>> ViewerFrameCommand::fetch() {
    const auto listing = co_await client_.listing(options_.host);
    if (!listing) {
        co_return listing.failure();
    }
    const auto display = ViewerDisplayChoice::in(*listing, options_.display);
    if (!display) {
        co_return ViewerFailure::noSuchDisplay;
    }
    if (options_.waitsForChange) {
        co_return co_await fetchChanged(display->id);
    }
    co_return co_await client_.frame(options_.host, display->id);
}

/// A host labels the same picture anew when it captures anew, so the bytes are what counts.
ViewerTask<ViewerOutcome<ViewerHostFrame>> ViewerFrameCommand::fetchChanged(std::string displayID) {
    std::optional<ViewerBytes> first;
    ViewerBackOff backOff;
    while (true) {
        auto frame = co_await client_.frame(options_.host, displayID);
        if (!frame && frame.failure() != ViewerFailure::noPicture) {
            co_return frame;
        }
        if (frame && first && !(frame->jpeg == *first)) {
            co_return frame;
        }
        if (frame && !first) {
            first = frame->jpeg;
        }
        if (frame) {
            backOff.reset();
        }
        const auto duration = frame ? betweenLooks : backOff.next();
        const bool goesOn = co_await client_.pause(duration);
        if (!goesOn) {
            co_return ViewerFailure::interrupted;
        }
    }
}

ViewerExit ViewerFrameCommand::write(const ViewerHostFrame& frame) const {
    if (options_.file.empty()) {
        console_.output << frame.jpeg.text();
        return ViewerExit::allGood;
    }
    const std::string failure = ViewerPictureFile::write(options_.file, frame.jpeg.span());
    if (failure.empty()) {
        return ViewerExit::allGood;
    }
    console_.errors << ViewerTerminalText::safe(options_.file) << ": " << failure << '\n';
    return ViewerExit::someFailed;
}

}  // namespace velmora
