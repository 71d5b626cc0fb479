#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "core/capture/ViewerScreenCapture.h"
#include "core/capture/linux/identity/ViewerMonitorIdentity.h"
#include "core/capture/linux/wayland/outputs/ViewerOutputs.h"
#include "core/capture/linux/wayland/outputs/ViewerStreamMatching.h"

namespace velmora {

/// The displays that the person granted, as they are listed: who they are, how large, and which
/// stream shows each. What was not granted the first time never is, whatever a renewed grant has.
/// Belongs to the screen capture; used on its thread.
class ViewerGrantedDisplays final {
  public:
    using Displays = ViewerScreenCapture::Displays;

    /// A display that was granted.
    struct Granted final {
        std::string uuidText;
        ViewerGrantedStream stream;
        /// The output behind it as it was last told, where that is beyond doubt.
        std::optional<ViewerWaylandOutput> output;
        /// Else those of which it is one.
        std::vector<std::uint32_t> likeOutputs;
        /// Empty where there is nothing to name it after.
        std::string name;
    };

    /// Where the kernel tells of monitors.
    explicit ViewerGrantedDisplays(std::filesystem::path drmFolder);

    /// Takes the first grant, or a renewed one in the place of the last. False when no display is
    /// in it. The compositor is there.
    bool grant(const std::vector<ViewerMatchedStream>& streams,
               const ViewerOutputs::Current& compositor);
    /// Takes note of how the outputs are now: one that is gone leaves, until a renewed grant has
    /// it. Null while the compositor is not there, which lists nothing and decides nothing. Returns
    /// those whose outputs have become another size.
    std::vector<Granted> follow(const ViewerOutputs::Current& compositor);
    /// Everything leaves.
    void clear();

    /// The same object while nothing changes; never null.
    const std::shared_ptr<const Displays>& list() const { return list_; }
    /// Null when it is not there.
    const Granted* find(const std::string& uuidText) const;

  private:
    /// A monitor that was seen, and what it was called.
    struct Known final {
        ViewerWaylandOutput output;
        ViewerMonitorIdentity identity;
    };

    /// Gives each output that is new its identity; those that stay keep theirs.
    void identify(const std::vector<ViewerWaylandOutput>& outputs);
    std::vector<Granted> admitted(const std::vector<ViewerMatchedStream>& streams,
                                  const std::vector<ViewerWaylandOutput>& outputs) const;
    void keepToTheFirst(std::vector<Granted>& granted) const;
    bool isGone(const Granted& granted, const std::vector<ViewerWaylandOutput>& outputs) const;
    void write(const std::vector<ViewerWaylandOutput>& outputs);
    std::uint32_t numberOf(const std::string& uuidText);

    const std::filesystem::path drmFolder_;
    std::vector<Granted> granted_;
    bool wasGranted_ = false;
    /// The first grant: the UUIDs of what was told apart, the sizes of what was not.
    std::set<std::string> firstUuids_;
    std::vector<ViewerLogicalSize> firstLikeSizes_;
    std::map<std::uint32_t, Known> known_;
    /// By UUID, as long as the process lives.
    std::map<std::string, std::uint32_t> numbers_;
    /// How the outputs were when the list was written.
    ViewerOutputs::Current followed_;
    std::shared_ptr<const Displays> list_ = std::make_shared<const Displays>();
};

}  // namespace velmora
