#include "core/capture/linux/wayland/ViewerGrantedDisplays.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "core/capture/linux/wayland/outputs/ViewerOutputIdentity.h"
#include "core/runtime/ViewerUUID.h"

namespace velmora {

namespace {

using Outputs = std::vector<ViewerWaylandOutput>;
using Granted = ViewerGrantedDisplays::Granted;
using PixelSize = ViewerWaylandOutput::PixelSize;

const ViewerWaylandOutput* outputWith(std::uint32_t global, const Outputs& outputs) {
    const auto found = std::ranges::find(outputs, global, &ViewerWaylandOutput::global);
    return found != outputs.end() ? &*found : nullptr;
}

/// Whether two outputs of one number are the same monitor in the same place, whatever its mode.
bool isSame(const ViewerWaylandOutput& a, const ViewerWaylandOutput& b) {
    return a.connector == b.connector && a.make == b.make && a.model == b.model;
}

/// Of outputs that are not told apart the size that they have in common, else the stream's own.
PixelSize sizeOf(const Granted& granted, const Outputs& outputs) {
    if (granted.output) {
        return granted.output->seenSize();
    }
    const ViewerLogicalSize logical = granted.stream.size.value_or(ViewerLogicalSize());
    const PixelSize own{logical.width, logical.height};
    std::optional<PixelSize> common;
    for (const std::uint32_t each : granted.likeOutputs) {
        if (const ViewerWaylandOutput* const output = outputWith(each, outputs)) {
            if (common.value_or(output->seenSize()) != output->seenSize()) {
                return own;
            }
            common = output->seenSize();
        }
    }
    return common.value_or(own);
}

bool isAtOrigin(const Granted& granted) {
    return granted.output && granted.output->position == ViewerLogicalPosition{0, 0};
}

/// In the compositor's order; those that are not told apart come last.
bool comesBefore(const Granted& a, const Granted& b) {
    if (a.output.has_value() != b.output.has_value()) {
        return a.output.has_value();
    }
    return a.output ? a.output->global < b.output->global : a.stream.node < b.stream.node;
}

}  // namespace

ViewerGrantedDisplays::ViewerGrantedDisplays(std::filesystem::path drmFolder)
    : drmFolder_(std::move(drmFolder)) {}

bool ViewerGrantedDisplays::grant(const std::vector<ViewerMatchedStream>& streams,
                                  const ViewerOutputs::Current& compositor) {
    identify(compositor->outputs);
    granted_ = admitted(streams, compositor->outputs);
    if (wasGranted_) {
        keepToTheFirst(granted_);
    }
    for (const Granted& each : granted_) {
        if (!wasGranted_ && each.output) {
            firstUuids_.insert(each.uuidText);
        } else if (!wasGranted_) {
            firstLikeSizes_.push_back(*each.stream.size);
        }
    }
    wasGranted_ = true;
    std::ranges::sort(granted_, comesBefore);
    followed_ = compositor;
    write(compositor->outputs);
    return !granted_.empty();
}

std::vector<Granted> ViewerGrantedDisplays::follow(const ViewerOutputs::Current& compositor) {
    if (std::exchange(followed_, compositor) == compositor) {
        return {};
    }
    if (!compositor) {
        list_ = std::make_shared<const Displays>();
        return {};
    }
    std::vector<Granted> staying;
    for (const Granted& each : granted_) {
        if (!isGone(each, compositor->outputs)) {
            staying.push_back(each);
        }
    }
    std::vector<Granted> resized;
    for (Granted& each : staying) {
        if (each.output) {
            const PixelSize before = each.output->seenSize();
            each.output = *outputWith(each.output->global, compositor->outputs);
            if (each.output->seenSize() != before) {
                resized.push_back(each);
            }
        }
    }
    granted_ = std::move(staying);
    write(compositor->outputs);
    return resized;
}

void ViewerGrantedDisplays::clear() {
    granted_.clear();
    write({});
}

const Granted* ViewerGrantedDisplays::find(const std::string& uuidText) const {
    const auto found = std::ranges::find(granted_, uuidText, &Granted::uuidText);
    return found != granted_.end() ? &*found : nullptr;
}

void ViewerGrantedDisplays::identify(const Outputs& outputs) {
    const auto identities = ViewerOutputIdentity::of(outputs, drmFolder_);
    std::map<std::uint32_t, Known> known;
    for (std::size_t i = 0; i < outputs.size(); ++i) {
        const auto before = known_.find(outputs[i].global);
        if (before != known_.end() && isSame(before->second.output, outputs[i])) {
            known.insert(*before);
            continue;
        }
        ViewerMonitorIdentity identity = identities[i];
        if (identity.uuidText.empty()) {
            identity.uuidText = uuidText(makeRandomUUID());
        }
        known.emplace(outputs[i].global, Known{outputs[i], std::move(identity)});
    }
    known_ = std::move(known);
}

std::vector<Granted> ViewerGrantedDisplays::admitted(
    const std::vector<ViewerMatchedStream>& streams, const Outputs& outputs) const {
    std::vector<Granted> result;
    for (const ViewerMatchedStream& each : streams) {
        if (each.output) {
            const ViewerMonitorIdentity& identity = known_.at(*each.output).identity;
            result.push_back({identity.uuidText,
                              each.stream,
                              *outputWith(*each.output, outputs),
                              {},
                              identity.name});
        } else {
            // Which of them it is nobody can say, the next time least of all.
            result.push_back(
                {uuidText(makeRandomUUID()), each.stream, std::nullopt, each.likeOutputs, ""});
        }
    }
    return result;
}

void ViewerGrantedDisplays::keepToTheFirst(std::vector<Granted>& granted) const {
    std::vector<ViewerLogicalSize> sizes = firstLikeSizes_;
    std::erase_if(granted, [&](const Granted& each) {
        if (each.output) {
            return !firstUuids_.contains(each.uuidText);
        }
        const auto size = std::ranges::find(sizes, *each.stream.size);
        const bool isKept = size != sizes.end();
        if (isKept) {
            sizes.erase(size);
        }
        return !isKept;
    });
}

bool ViewerGrantedDisplays::isGone(const Granted& granted, const Outputs& outputs) const {
    if (granted.output) {
        const ViewerWaylandOutput* const output = outputWith(granted.output->global, outputs);
        return output == nullptr || !isSame(*output, *granted.output);
    }
    // Whose output went cannot be told, so that none of them stays.
    const auto left = std::ranges::count_if(granted.likeOutputs, [&](std::uint32_t each) {
        return outputWith(each, outputs) != nullptr;
    });
    return left < std::ranges::count(granted_, granted.likeOutputs, &Granted::likeOutputs);
}

void ViewerGrantedDisplays::write(const Outputs& outputs) {
    const auto atOrigin = std::ranges::find_if(granted_, isAtOrigin);
    const auto main = atOrigin != granted_.end() ? atOrigin : granted_.begin();
    Displays displays;
    for (auto each = granted_.begin(); each != granted_.end(); ++each) {
        const PixelSize size = sizeOf(*each, outputs);
        ViewerNativeDisplay display;
        display.number = numberOf(each->uuidText);
        display.uuidText = each->uuidText;
        display.width = size.width;
        display.height = size.height;
        display.isMain = each == main;
        if (!each->name.empty()) {
            display.name = each->name;
        }
        displays.push_back(std::move(display));
    }
    if (*list_ != displays) {
        list_ = std::make_shared<const Displays>(std::move(displays));
    }
}

std::uint32_t ViewerGrantedDisplays::numberOf(const std::string& uuidText) {
    const auto next = static_cast<std::uint32_t>(numbers_.size() + 1);
    return numbers_.emplace(uuidText, next).first->second;
}

}  // namespace velmora
