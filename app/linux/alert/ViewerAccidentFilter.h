#pragma once

#include <QKeyEvent>
#include <QObject>
#include <chrono>
#include <utility>

namespace velmora {

/// Keeps what was meant for another window from pressing a button of the one that it watches: keys
/// typed in the first half second after the window got the focus, each time anew, and keys held
/// down since then; clicks in the first half second after it came up, but not after it got the
/// focus, which may be a click's own doing. A request to close the window and a press through the
/// accessibility interface are meant for it and not held up. The thread of the user interface.
class ViewerAccidentFilter final : public QObject {
  public:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    using Clock = std::chrono::steady_clock;

    bool isRepeated(const QKeyEvent& key) const;
    static Clock::time_point timeOf(const QInputEvent& event);

    Clock::time_point cameUp_ = Clock::now();
    Clock::time_point gotFocus_ = cameUp_;
    bool isExposed_ = false;
    /// The last key that was let go, and its event's stamp.
    std::pair<int, quint64> released_;
};

}  // namespace velmora
