#include "app/linux/alert/ViewerAccidentFilter.h"

#include <QWindow>
#include <cstdint>

namespace velmora {

namespace {

/// What a person needs to see that a window is another one.
constexpr std::chrono::milliseconds reactionTime{500};
/// An event is no later than that; one that seems to be has another clock.
constexpr std::chrono::seconds latenessLimit{10};

}  // namespace

bool ViewerAccidentFilter::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
        case QEvent::Expose: {
            const bool wasExposed = isExposed_;
            isExposed_ = static_cast<QWindow*>(watched)->isExposed();
            if (isExposed_ && !wasExposed) {
                cameUp_ = Clock::now();
            }
            return false;
        }
        case QEvent::FocusIn:
            gotFocus_ = Clock::now();
            return false;
        case QEvent::KeyPress: {
            const auto& key = *static_cast<QKeyEvent*>(event);
            return isRepeated(key) || timeOf(key) - gotFocus_ < reactionTime;
        }
        case QEvent::KeyRelease: {
            const auto& key = *static_cast<QKeyEvent*>(event);
            released_ = {key.key(), key.timestamp()};
            return false;
        }
        case QEvent::MouseButtonPress:
        case QEvent::MouseButtonDblClick:
            return timeOf(*static_cast<QInputEvent*>(event)) - cameUp_ < reactionTime;
        default:
            return false;
    }
}

/// X11 tells of a repetition as of a release and a press of the same time. The toolkit, 6.4, takes
/// them for real when it sees the one before the other has come.
bool ViewerAccidentFilter::isRepeated(const QKeyEvent& key) const {
    return key.isAutoRepeat() || released_ == std::pair(key.key(), quint64{key.timestamp()});
}

/// When it was typed, also if it waited here: display servers stamp their events with the
/// milliseconds of the same clock, of which X11 keeps 32 bits.
ViewerAccidentFilter::Clock::time_point ViewerAccidentFilter::timeOf(const QInputEvent& event) {
    const auto now = Clock::now();
    const auto milliseconds =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const std::chrono::milliseconds lateness(static_cast<std::uint32_t>(milliseconds) -
                                             static_cast<std::uint32_t>(event.timestamp()));
    const bool isStamped = event.timestamp() != 0 && lateness < latenessLimit;
    return isStamped ? now - lateness : now;
}

}  // namespace velmora
