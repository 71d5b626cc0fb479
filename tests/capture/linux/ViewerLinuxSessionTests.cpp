#include "core/capture/linux/ViewerLinuxSession.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/support/system/BorrowedEnvironment.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Verdict = ViewerLinuxSession::Verdict;

/// A socket of that name, which stays there when nobody listens any more.
void makeSocket(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.native().copy(address.sun_path, sizeof address.sun_path - 1);
    const int descriptor = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ::close(descriptor);
}

/// What stands at DISPLAY.
enum class X { nothing, own, other };

/// What stands at the sockets, and whether WAYLAND_DISPLAY names one.
struct Compositors final {
    bool isNamed = false;
    std::vector<std::string> answering;
};

/// Everything there is to know.
ViewerLinuxSession known(const std::string& type, X x, const Compositors& compositors) {
    ViewerLinuxSession session;
    session.type = type;
    session.x11Display = x == X::nothing ? "" : ":7";
    session.isOwnXServer = x == X::own;
    session.waylandDisplay = compositors.isNamed ? "wayland-5" : "";
    session.answeringSockets = compositors.answering;
    return session;
}

TEST(ViewerLinuxSession, IsX11OrWaylandByWhatIsThere) {
    const std::array columns{Compositors{false, {}}, Compositors{false, {"wayland-1"}},
                             Compositors{false, {"wayland-0", "wayland-1"}},
                             Compositors{true, {"wayland-5"}}, Compositors{true, {}}};
    constexpr auto x11 = Verdict::x11;
    constexpr auto wayland = Verdict::wayland;
    constexpr auto dead = Verdict::waylandUnreachable;
    constexpr auto none = Verdict::none;
    struct Row final {
        bool isX11Type;
        X x;
        // The sockets that answer: none, one, two; the one that is named, and not that one.
        std::array<Verdict, 5> verdicts;
    };
    const std::array rows{
        Row{true, X::own, {x11, x11, x11, x11, x11}},
        Row{true, X::other, {x11, wayland, x11, wayland, dead}},
        Row{true, X::nothing, {none, wayland, none, wayland, dead}},
        Row{false, X::own, {x11, wayland, x11, wayland, dead}},
        Row{false, X::other, {x11, wayland, x11, wayland, dead}},
        Row{false, X::nothing, {none, wayland, none, wayland, dead}},
    };
    for (const Row& row : rows) {
        const std::vector<std::string> types =
            row.isX11Type ? std::vector<std::string>{"x11"}
                          : std::vector<std::string>{"wayland", "tty", "unspecified", "X11", ""};
        for (const std::string& type : types) {
            for (std::size_t i = 0; i < columns.size(); ++i) {
                const ViewerLinuxSession session = known(type, row.x, columns[i]);
                EXPECT_EQ(session.verdict(), row.verdicts[i])
                    << '"' << type << "\", X " << static_cast<int>(row.x) << ", column " << i;
            }
        }
    }
}

TEST(ViewerLinuxSession, AnX11SessionIsKnownWithoutALookAtASocket) {
    ViewerLinuxSession session{.type = "x11", .x11Display = ":7", .waylandDisplay = "wayland-5"};
    EXPECT_EQ(session.verdict(), Verdict::lookAtXServer);
    session.isOwnXServer = true;
    EXPECT_EQ(session.verdict(), Verdict::x11);
}

TEST(ViewerLinuxSession, AnXServerThatIsNotTheSessionsOwnLeadsToTheSockets) {
    ViewerLinuxSession session{.type = "x11", .x11Display = ":7"};
    session.isOwnXServer = false;
    EXPECT_EQ(session.verdict(), Verdict::lookAtSockets);
}

TEST(ViewerLinuxSession, NoXServerIsAskedWhereTheTypeIsNotX11OrThereIsNone) {
    EXPECT_EQ((ViewerLinuxSession{.type = "wayland", .x11Display = ":7"}).verdict(),
              Verdict::lookAtSockets);
    EXPECT_EQ((ViewerLinuxSession{.type = "x11"}).verdict(), Verdict::lookAtSockets);
    EXPECT_EQ(ViewerLinuxSession().verdict(), Verdict::lookAtSockets);
}

TEST(ViewerLinuxSession, TheCompositorIsTheOneThatAnswers) {
    EXPECT_EQ(known("", X::own, {false, {"wayland-1"}}).compositor(), "wayland-1");
    EXPECT_EQ(known("", X::own, {true, {"wayland-5"}}).compositor(), "wayland-5");
}

TEST(ViewerLinuxSession, TheSocketsToLookAtAreThoseOfTheRuntimeFolder) {
    const TemporaryFolder folder;
    for (const char* const name : {"wayland-1", "wayland-0", "bus", "sway-ipc.sock"}) {
        makeSocket(folder.path() / name);
    }
    std::ofstream(folder.path() / "wayland-0.lock") << "";
    std::filesystem::create_directory(folder.path() / "wayland-folder");
    const ViewerLinuxSession session{.runtimeFolder = folder.path()};

    EXPECT_THAT(session.sockets(),
                ElementsAre(folder.path() / "wayland-0", folder.path() / "wayland-1"));
}

TEST(ViewerLinuxSession, TheOnlySocketToLookAtIsTheOneThatIsNamed) {
    const TemporaryFolder folder;
    makeSocket(folder.path() / "wayland-0");
    ViewerLinuxSession session{.waylandDisplay = "/run/other", .runtimeFolder = folder.path()};
    EXPECT_THAT(session.sockets(), ElementsAre("/run/other"));
    session.waylandDisplay = "other";
    EXPECT_THAT(session.sockets(), ElementsAre(folder.path() / "other"));
}

TEST(ViewerLinuxSession, WithoutARuntimeFolderANameLeadsNowhere) {
    EXPECT_THAT((ViewerLinuxSession{.waylandDisplay = "wayland-0"}).sockets(), IsEmpty());
}

TEST(ViewerLinuxSession, AFolderThatCannotBeReadHasNoSockets) {
    EXPECT_THAT((ViewerLinuxSession{.runtimeFolder = "/nonexistent"}).sockets(), IsEmpty());
    EXPECT_THAT(ViewerLinuxSession().sockets(), IsEmpty());
}

TEST(ViewerLinuxSession, BeginsWithWhatTheEnvironmentSays) {
    BorrowedEnvironment environment;
    environment.set("XDG_SESSION_TYPE", "wayland");
    environment.set("DISPLAY", ":7");
    environment.set("WAYLAND_DISPLAY", "wayland-5");
    environment.set("XDG_RUNTIME_DIR", "/run/user/7");
    EXPECT_EQ(ViewerLinuxSession::fromEnvironment(),
              (ViewerLinuxSession{"wayland", ":7", "wayland-5", "/run/user/7"}));

    for (const char* const name :
         {"XDG_SESSION_TYPE", "DISPLAY", "WAYLAND_DISPLAY", "XDG_RUNTIME_DIR"}) {
        environment.set(name, std::nullopt);
    }
    EXPECT_EQ(ViewerLinuxSession::fromEnvironment(), ViewerLinuxSession());
}

}  // namespace

}  // namespace velmora
