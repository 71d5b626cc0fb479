#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/capture/linux/bus/ViewerLazyBus.h"
#include "core/capture/linux/wayland/portal/ViewerSessionLock.h"

namespace velmora {

/// The lock as the desktop tells of it: GNOME's or KDE's screen saver on the session bus, else the
/// login manager's hint on the system bus, which is connected to only where neither is there. No
/// service is started for it. Made, used and destroyed on the main thread.
class ViewerDesktopLock final : public ViewerSessionLock,
                                public std::enable_shared_from_this<ViewerDesktopLock> {
  public:
    ViewerDesktopLock(std::shared_ptr<ViewerLazyBus> sessionBus,
                      std::shared_ptr<ViewerLazyBus> systemBus, ViewerExecutor executor);

    void watch(std::function<void(bool isLocked)> changed) override;
    void ask(std::function<void(State)> answer) override;
    void end() override;

  private:
    using Bus = std::shared_ptr<ViewerBusConnection>;

    /// What a service says; nothing where it is not there.
    ViewerTask<std::optional<State>> askScreenSaver(std::string service, std::string object);
    ViewerTask<std::optional<State>> askLoginManager();
    /// Finds this session's object, once, and asks for its notices; empty where there is none.
    ViewerTask<std::string> loginSession(Bus bus);
    ViewerTask<State> look();
    static ViewerTask<void> answerWith(std::shared_ptr<ViewerDesktopLock> self,
                                       std::function<void(State)> answer);
    void subscribe(const Bus& bus, const std::string& rule, ViewerBusConnection::Receiver receiver);
    void tell(bool isLocked);
    void loginSessionHasChanged(sd_bus_message* signal);

    const std::shared_ptr<ViewerLazyBus> sessionBus_;
    const std::shared_ptr<ViewerLazyBus> systemBus_;
    const ViewerExecutor executor_;
    std::function<void(bool)> changed_;
    std::vector<std::shared_ptr<void>> subscriptions_;
    std::string loginSession_;
    bool hasEnded_ = false;
};

}  // namespace velmora
