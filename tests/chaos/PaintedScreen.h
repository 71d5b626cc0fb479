#pragma once

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "tests/chaos/AnswerRules.h"
#include "tests/chaos/ChaosRun.h"
#include "tests/chaos/Hue.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/x11/XPainter.h"
#include "tests/support/x11/XServer.h"

namespace velmora {

/// An X server with four monitors, each painted in a hue of its own and in ever new shades. What
/// befalls it leaves it as it was, once the host shows that again. One thread.
class PaintedScreen final {
  public:
    PaintedScreen();

    const XServer& server() const { return server_; }
    std::map<std::string, Hue> huesByName() const;

    /// Paints for so long.
    void paintFor(std::chrono::milliseconds duration);
    /// Paints every monitor anew and waits until the host shows each as it is now; false when it
    /// does not.
    bool isShown(ChaosRun& run, AnswerRules& rules);

    /// Each ends with the screen as it was, and the answer of `isShown`.
    bool freeze(ChaosRun& run, AnswerRules& rules, std::chrono::milliseconds duration);
    bool dieAndComeBack(ChaosRun& run, AnswerRules& rules, std::chrono::milliseconds away);
    bool changeSize(ChaosRun& run, AnswerRules& rules);
    bool loseAMonitor(ChaosRun& run, AnswerRules& rules, std::chrono::milliseconds away);

  private:
    struct Monitor final {
        std::string name;
        ViewerRectangle place;
        Hue hue;
        std::string output;
        int shade = 0;
    };

    void arrange();
    void paint(Monitor& monitor);
    bool isShownUnchanged(ChaosRun& run, AnswerRules& rules);

    std::array<Monitor, 4> monitors_;
    XServer server_;
    std::unique_ptr<XPainter> painter_;
    std::size_t next_ = 0;
};

}  // namespace velmora
