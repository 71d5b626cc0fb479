#include "tests/support/desktop/PortalBackend.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

namespace {

constexpr std::chrono::seconds patience{30};

std::string wordOf(PortalBackend::Dialect dialect) {
    static constexpr std::array words{"full", "gnome43", "gnome45", "kde527", "wlr07", "hyprland"};
    return words.at(static_cast<std::size_t>(dialect));
}

std::string wordOf(PortalBackend::Answer answer) {
    static constexpr std::array words{"grant", "cancel", "fail", "hold"};
    return words.at(static_cast<std::size_t>(answer));
}

}  // namespace

PortalBackend::PortalBackend(DesktopSession& session, Casts casts) {
    conversation_ = std::make_unique<Conversation>(session.runtimeFolder(), "script");
    // The distribution's own interpreter: it has the bindings.
    std::vector<std::string> command{"/usr/bin/python3", "-W", "ignore", SCRIPTED_PORTAL_PATH};
    if (casts == Casts::wlroots) {
        command.emplace_back("wlroots");
    }
    session.start("script", conversation_->joinedBy(command));
    session.awaitOwner("org.freedesktop.impl.portal.desktop.scripted");
}

void PortalBackend::install(DesktopSession& session, const std::string& desktop) {
    const auto folder = session.runtimeFolder() / "portals";
    std::filesystem::create_directory(folder);
    std::ofstream(folder / "scripted.portal")
        << "[portal]\nDBusName=org.freedesktop.impl.portal.desktop.scripted\n"
        << "Interfaces=org.freedesktop.impl.portal.ScreenCast;\nUseIn=" << desktop << "\n";
    // Portals from 1.17 on ask who is preferred.
    std::ofstream(folder / "portals.conf") << "[preferred]\ndefault=scripted\n";
    session.set("XDG_DESKTOP_PORTAL_DIR", folder);
}

void PortalBackend::speak(Dialect dialect) {
    tell("speak " + wordOf(dialect));
}

void PortalBackend::answer(Answer answer) {
    tell("answer " + wordOf(answer));
}

void PortalBackend::decide(Answer answer) {
    tell("decide " + wordOf(answer));
}

void PortalBackend::pick(const std::string& what) {
    tell("pick " + what);
}

void PortalBackend::reverseOrder() {
    tell("order reversed");
}

void PortalBackend::giveNoToken() {
    tell("token off");
}

void PortalBackend::askBeforeRenewing() {
    tell("renew asking");
}

void PortalBackend::close() {
    tell("close");
}

void PortalBackend::drop(std::size_t stream) {
    tell("drop " + std::to_string(stream));
}

void PortalBackend::lock(LockOrder order, std::chrono::milliseconds between) {
    tell(std::string("lock ") + (order == LockOrder::closedFirst ? "closed " : "active ") +
         std::to_string(between.count()));
    viewerCheck(await("locked").has_value(), "a test's screen is locked");
}

void PortalBackend::unlock() {
    tell("unlock");
}

void PortalBackend::arrange(const std::string& how) {
    tell("layout " + how);
}

std::optional<std::string> PortalBackend::await(const std::string& event) {
    std::optional<std::string> details = take(event);
    while (!details && hear(patience)) {
        details = take(event);
    }
    return details;
}

std::size_t PortalBackend::count(const std::string& event) {
    while (hear(std::chrono::milliseconds::zero())) {
    }
    return static_cast<std::size_t>(std::ranges::count(events_, event, &Event::name));
}

void PortalBackend::tell(const std::string& command) {
    isObeyed_ = false;
    conversation_->say(command);
    while (!isObeyed_) {
        viewerCheck(hear(patience), "the script of a test's portal obeys");
    }
}

bool PortalBackend::hear(std::chrono::milliseconds limit) {
    const std::optional<std::string> line = conversation_->hear(limit);
    if (!line) {
        return false;
    }
    if (*line == "ok") {
        isObeyed_ = true;
        return true;
    }
    const std::size_t end = line->find(' ');
    events_.push_back({line->substr(0, end), line->substr(std::min(end, line->size() - 1) + 1)});
    return true;
}

std::optional<std::string> PortalBackend::take(const std::string& event) {
    const auto found = std::ranges::find(events_, event, &Event::name);
    if (found == events_.end()) {
        return std::nullopt;
    }
    std::string details = found->details;
    events_.erase(found);
    return details;
}

}  // namespace velmora
