#pragma once

#include <sys/types.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "app/ViewerAlert.h"
#include "core/capture/linux/imaging/ViewerRectangle.h"
#include "tests/support/system/TemporaryFolder.h"

namespace velmora {

/// An alert as a screen reader gets it.
struct SeenAlert final {
    /// Whether title, text and buttons in order are those of `alert`, the first button being the
    /// default one.
    bool shows(const ViewerAlert& alert) const;
    friend std::ostream& operator<<(std::ostream& stream, const SeenAlert& seen);

    std::string role;
    std::string name;
    std::string description;
    std::vector<std::string> texts;
    std::vector<std::string> buttons;
    std::vector<std::string> defaultButtons;
    /// The name of what the keys go to; empty while they go to another window.
    std::string focused;
    /// Where on the screen everything is; Wayland tells no places.
    ViewerRectangle place;
    std::vector<ViewerRectangle> textPlaces;
    std::vector<ViewerRectangle> buttonPlaces;
    std::vector<ViewerRectangle> iconPlaces;
};

/// A session of its own, with an accessibility bus, and someone who uses what shows there by its
/// names. What cannot be done stops the test's process. One thread.
class AccessibleSession final {
  public:
    AccessibleSession();
    /// In a session whose bus is there already, which starts what is asked of it.
    explicit AccessibleSession(const std::string& busAddress);
    ~AccessibleSession();
    AccessibleSession(const AccessibleSession&) = delete;
    AccessibleSession& operator=(const AccessibleSession&) = delete;

    /// Makes a program one of this session.
    const std::map<std::string, std::string>& environment() const { return environment_; }

    /// Waits for an alert with a button of that name; nothing when none comes in time.
    std::optional<SeenAlert> await(const std::string& button) const;
    /// The same, and presses the button.
    std::optional<SeenAlert> press(const std::string& button) const;

  private:
    std::optional<SeenAlert> use(const std::string& action, const std::string& button) const;
    std::optional<SeenAlert> look(const std::string& action, const std::string& button) const;

    const TemporaryFolder folder_;
    std::map<std::string, std::string> environment_;
    /// 0 where it is somebody else's.
    pid_t bus_ = 0;
};

}  // namespace velmora
