#include "core/capture/linux/wayland/outputs/ViewerStreamMatching.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace velmora {

namespace {

using Nodes = std::vector<ViewerStreamNode>;
using Numbers = std::vector<std::uint32_t>;

/// How KWin's names of nodes begin. What follows is a connector for an output, something else for a
/// window or a region, and nothing for a whole workspace.
constexpr std::string_view kwinPrefix = "kwin-screencast-";

/// One stream and what is known of it.
struct Candidate final {
    ViewerGrantedStream stream;
    /// The connector that KWin names, or whatever it says instead.
    std::string kwinName;
    std::optional<std::uint32_t> output = std::nullopt;
};

const ViewerStreamNode* nodeOf(const ViewerGrantedStream& stream, const Nodes& nodes) {
    const auto found = std::ranges::find_if(nodes, [&](const ViewerStreamNode& node) {
        // Numbers are given out again, serials are not.
        return stream.serial && node.serial ? stream.serial == node.serial : stream.node == node.id;
    });
    return found != nodes.end() ? &*found : nullptr;
}

std::string kwinNameOf(const ViewerGrantedStream& stream, const Nodes& nodes) {
    const ViewerStreamNode* const node = nodeOf(stream, nodes);
    const std::string_view name = node != nullptr ? node->mediaName : std::string_view();
    return std::string(name.starts_with(kwinPrefix) ? name.substr(kwinPrefix.size()) : "");
}

bool hasSize(const ViewerWaylandOutput& output, const ViewerLogicalSize& size) {
    const auto seen = output.seenSize();
    return output.logicalSize == size || ViewerLogicalSize{seen.width, seen.height} == size;
}

class Matching final {
  public:
    Matching(const std::vector<ViewerGrantedStream>& streams, const Nodes& nodes,
             const ViewerOutputs::Snapshot& compositor)
        : compositor_(compositor) {
        for (const ViewerGrantedStream& stream : streams) {
            Candidate candidate{stream, kwinNameOf(stream, nodes)};
            if (mayBeMonitor(candidate)) {
                candidates_.push_back(std::move(candidate));
            }
        }
    }

    std::vector<ViewerMatchedStream> result() {
        // What tells most comes first, for all streams, so that a weak reason never takes an output
        // from a strong one.
        constexpr std::array reasons = {&Matching::isMapped, &Matching::isNamedByKWin,
                                        &Matching::isAtPlace, &Matching::isOfSize};
        for (const Reason reason : reasons) {
            matchBy(reason);
        }
        std::vector<ViewerMatchedStream> matched;
        for (const Candidate& each : candidates_) {
            if (each.output) {
                matched.push_back({each.stream, each.output});
            }
        }
        addTheLikeOfEachOther(matched);
        return matched;
    }

  private:
    using Reason = bool (Matching::*)(const Candidate&, const ViewerWaylandOutput&) const;

    bool mayBeMonitor(const Candidate& candidate) const {
        // A region is called a monitor that was made for it.
        const std::uint32_t type = candidate.stream.sourceType;
        const bool isPart =
            type == ViewerGrantedStream::window || type == ViewerGrantedStream::virtualMonitor;
        // Of a compositor that names its outputs, KWin's other names are those of other things.
        const bool isNamedOtherwise =
            !candidate.kwinName.empty() && hasNamesOnly() &&
            std::ranges::none_of(compositor_.outputs, [&](const ViewerWaylandOutput& output) {
                return output.connector == candidate.kwinName;
            });
        return !isPart && !isNamedOtherwise;
    }
    bool hasNamesOnly() const {
        return std::ranges::none_of(compositor_.outputs, [](const ViewerWaylandOutput& output) {
            return output.connector.empty();
        });
    }

    bool isMapped(const Candidate& candidate, const ViewerWaylandOutput& output) const {
        return !output.connector.empty() && candidate.stream.mappingId == output.connector;
    }
    bool isNamedByKWin(const Candidate& candidate, const ViewerWaylandOutput& output) const {
        return !output.connector.empty() && candidate.kwinName == output.connector;
    }
    bool isAtPlace(const Candidate& candidate, const ViewerWaylandOutput& output) const {
        const auto& position = candidate.stream.position;
        const bool isPlace =
            position && !(compositor_.offersScreenCopy && *position == ViewerLogicalPosition{0, 0});
        return isPlace && *position == output.position &&
               candidate.stream.size == output.logicalSize;
    }
    bool isOfSize(const Candidate& candidate, const ViewerWaylandOutput& output) const {
        return candidate.stream.size && hasSize(output, *candidate.stream.size);
    }

    Numbers outputsBy(Reason reason, const Candidate& candidate) const {
        Numbers numbers;
        for (const ViewerWaylandOutput& output : compositor_.outputs) {
            if ((this->*reason)(candidate, output)) {
                numbers.push_back(output.global);
            }
        }
        return numbers;
    }
    bool isTaken(std::uint32_t output) const {
        return std::ranges::any_of(candidates_,
                                   [&](const Candidate& each) { return each.output == output; });
    }

    /// Gives each stream that is left the one output that the reason tells, where no other stream
    /// has it or lays claim to it for the same reason.
    void matchBy(Reason reason) {
        std::vector<std::pair<Candidate*, std::uint32_t>> claims;
        for (Candidate& each : candidates_) {
            const Numbers outputs = each.output ? Numbers() : outputsBy(reason, each);
            if (outputs.size() == 1 && !isTaken(outputs.front())) {
                claims.emplace_back(&each, outputs.front());
            }
        }
        for (const auto& [candidate, output] : claims) {
            if (std::ranges::count(claims, output, &decltype(claims)::value_type::second) == 1) {
                candidate->output = output;
            }
        }
    }

    /// Of several outputs of one size each stream of that size shows one, as long as there are no
    /// more streams than outputs left.
    void addTheLikeOfEachOther(std::vector<ViewerMatchedStream>& matched) const {
        std::vector<ViewerMatchedStream> like;
        for (const Candidate& each : candidates_) {
            const Numbers outputs = outputsBy(&Matching::isOfSize, each);
            if (!each.output && outputs.size() > 1) {
                like.push_back({each.stream, std::nullopt, outputs});
            }
        }
        for (const ViewerMatchedStream& each : like) {
            const auto left = std::ranges::count_if(
                each.likeOutputs, [&](std::uint32_t output) { return !isTaken(output); });
            const auto streams =
                std::ranges::count(like, each.likeOutputs, &ViewerMatchedStream::likeOutputs);
            if (streams <= left) {
                matched.push_back(each);
            }
        }
    }

    const ViewerOutputs::Snapshot& compositor_;
    std::vector<Candidate> candidates_;
};

}  // namespace

std::vector<ViewerMatchedStream> ViewerStreamMatching::match(
    const std::vector<ViewerGrantedStream>& streams, const Nodes& nodes,
    const ViewerOutputs::Snapshot& compositor) {
    return Matching(streams, nodes, compositor).result();
}

}  // namespace velmora
