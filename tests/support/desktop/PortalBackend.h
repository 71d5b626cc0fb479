#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tests/support/desktop/Conversation.h"
#include "tests/support/desktop/DesktopSession.h"

namespace velmora {

/// The person behind a portal, and the desktop's manners, as a test says: the member "script" of a
/// session, a backend of the real front end. It begins as a desktop that tells everything of each
/// stream and a person who grants every monitor. Each operation returns when it has taken effect.
/// What cannot be done stops the test's process. One thread.
class PortalBackend final {
  public:
    /// How casts are made: by mutter, or by the real backend of a sway.
    enum class Casts { mutter, wlroots };
    /// What of a stream a desktop tells: place, size, kind and the connector; GNOME's without and
    /// with a mapping id that is no connector; KDE's, which is the size; and that of wlroots, where
    /// every output is a window at 0,0.
    enum class Dialect { full, gnome43, gnome45, kde527, wlr07, hyprland };
    /// What the person does; `hold` is one who leaves the dialog open.
    enum class Answer { grant, cancel, fail, hold };
    /// What comes first when the screen is locked: the session's end, or that it is active.
    enum class LockOrder { closedFirst, activeFirst };

    PortalBackend(DesktopSession& session, Casts casts);

    /// A portal's description of this backend, for the desktop of that name.
    static void install(DesktopSession& session, const std::string& desktop);

    void speak(Dialect dialect);
    void answer(Answer answer);
    /// In the dialog that is open.
    void decide(Answer answer);
    /// "all", some indices with spaces between, "window" or "workspace".
    void pick(const std::string& what);
    void reverseOrder();
    void giveNoToken();
    void askBeforeRenewing();
    /// Ends every session, as who stops sharing does.
    void close();
    /// Ends one stream, counted from 0; its session stays.
    void drop(std::size_t stream);
    void lock(LockOrder order, std::chrono::milliseconds between);
    void unlock();
    /// Of a mutter with two monitors: "swap", "one" or "two".
    void arrange(const std::string& how);

    /// Waits for something to happen, as often as it has: "created", "selected", "asked",
    /// "renewed", "granted", "dismissed", "closed", "ended" or "locked". Its details as JSON;
    /// nothing when it does not happen in time.
    std::optional<std::string> await(const std::string& event);
    /// How often it has happened that was not waited for, so far.
    std::size_t count(const std::string& event);

  private:
    struct Event final {
        std::string name;
        std::string details;
    };

    void tell(const std::string& command);
    /// Takes in one more line; false when none comes in time.
    bool hear(std::chrono::milliseconds limit);
    std::optional<std::string> take(const std::string& event);

    std::unique_ptr<Conversation> conversation_;
    std::vector<Event> events_;
    bool isObeyed_ = false;
};

}  // namespace velmora
