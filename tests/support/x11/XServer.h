#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/x11/XClient.h"

namespace velmora {

/// A real X server that belongs to a test: Xvfb, or Xorg with the dummy driver, which has
/// outputs DUMMY0 to DUMMY15. It has a display number of its own, so that tests may run side by
/// side, and ends with this object, with the thread that made it or with the process, whatever
/// state it is in. What cannot be done stops the test's process with the reason. One thread.
class XServer final {
  public:
    enum class Kind { xvfb, xorg };

    struct Options final {
        Kind kind = Kind::xvfb;
        /// The screen's size in pixels, also the largest one that an Xvfb can have later. Of an
        /// Xorg: the size of DUMMY0; its screen may grow to 7680 × 4320.
        int width = 1280;
        int height = 720;
        int depth = 24;
        /// Passed on to the server, for example "+extension", "SECURITY" or "-extension", "DAMAGE".
        std::vector<std::string> arguments;
        /// Whether clients must show the cookie in `authorityFile()`.
        bool isAuthorityRequired = false;
    };

    XServer() : XServer(Options()) {}
    explicit XServer(Options options);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    /// For DISPLAY, such as ":1234". Stays the same when the server is started again.
    const std::string& displayName() const { return displayName_; }
    /// For XAUTHORITY. Empty unless authority is required.
    const std::string& authorityFile() const { return authorityFile_; }
    /// 0 while no server runs.
    pid_t processId() const { return process_; }

    /// Ends the server at once and without its help (SIGKILL); returns when it is gone.
    void kill();
    /// Starts the server again, under the same display name, after `kill()`.
    void restart();
    /// The same as another person's server: with another cookie, which is in `authorityFile()` from
    /// then on.
    void restartForAnother();
    /// Stops the server's process from running until `thaw()`; returns when it has stopped.
    void freeze();
    void thaw();

    /// Runs xrandr on this server. False when it reports a failure.
    bool xrandr(const std::vector<std::string>& arguments);
    /// Shows a mode of this size, made when there is none, on an output (Xvfb's is "screen").
    void setMode(const std::string& output, int width, int height);
    /// The same at a place of the screen, which grows as needed (Xorg only).
    void showOutput(const std::string& output, const ViewerRectangle& place);
    void hideOutput(const std::string& output);
    /// Adds or replaces a monitor, of one output or, with an empty name, of none.
    void setMonitor(const std::string& name, const ViewerRectangle& place,
                    const std::string& output = {});
    void deleteMonitor(const std::string& name);
    /// Replaces an output's EDID property; an empty one takes it away.
    void setEDID(const std::string& output, const std::vector<std::uint8_t>& bytes);

    /// A client of this server, also when authority is required.
    std::unique_ptr<XClient> connect() const;

  private:
    void writeAuthority();
    void writeXorgConfiguration();
    void start();
    bool startAt(int number);
    std::vector<std::string> commandLine(int number, int readyDescriptor) const;
    std::string makeMode(int width, int height, const std::string& output);
    void removeLeftovers() const;

    const Options options_;
    std::string folder_;
    std::string authorityFile_;
    std::string cookie_ = "0123456789abcdef";
    std::string displayName_;
    int number_ = -1;
    pid_t process_ = 0;
};

}  // namespace velmora
