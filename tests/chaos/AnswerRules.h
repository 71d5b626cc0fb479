#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "tests/chaos/ChaosTally.h"
#include "tests/chaos/Hue.h"
#include "tests/support/system/HTTPClient.h"
#include "tests/support/system/JPEGPicture.h"

namespace velmora {

/// What was asked for, and so what may be answered.
struct Question final {
    enum class Kind : std::uint8_t {
        listing,
        frame,
        unknownPath,
        otherMethod,
        largeHead,
        /// Less than a request, and then the end.
        incomplete
    };

    Kind kind = Kind::listing;
    /// Whose frame.
    std::string displayId;
};

/// Judges every answer of one host by what is written about the protocol, and knows nothing of how
/// it is made. Each display is painted in a hue of its own, and is known by its name. Any thread.
class AnswerRules final {
  public:
    /// What the screen and the host were like at a moment; compared with another moment.
    struct Moment final {
        std::chrono::steady_clock::time_point time;
        bool isUnsettled;
        bool isEnding;
        std::uint32_t changes;
    };

    AnswerRules(ChaosTally& tally, std::map<std::string, Hue> huesByName)
        : tally_(tally), huesByName_(std::move(huesByName)) {}

    /// From now on displays may be away, black or half painted; and are all there again.
    void unsettle();
    void settle();
    /// The host was told to end: connections may be cut short.
    void expectEnd() { isEnding_ = true; }

    Moment now() const;
    /// Judges the answer to what was asked for at `begin`, and has ended now.
    void judge(const Question& question, const HTTPAnswer& answer, const Moment& begin);

    /// Asks and judges.
    HTTPAnswer ask(const Question& question);
    /// The picture of a display now; nothing when there is none.
    std::optional<JPEGPicture> frame(const std::string& id);
    /// The displays as the newest listing that was asked for here calls them, by name.
    std::map<std::string, std::string> idsByName();

  private:
    struct Latitude final {
        bool isUnsettled;
        bool mayBeCut;
    };

    std::string fault(const Question& question, const HTTPAnswer& answer, Latitude latitude);
    std::string faultOfListing(const HTTPAnswer& answer, bool isUnsettled);
    std::string faultOfFrame(const std::string& id, const HTTPAnswer& answer, bool isUnsettled);
    std::string faultOfLabel(const std::string& id, const HTTPAnswer& answer);

    ChaosTally& tally_;
    const std::map<std::string, Hue> huesByName_;
    std::atomic<bool> isUnsettled_ = true;
    std::atomic<bool> isEnding_ = false;
    std::atomic<std::uint32_t> changes_ = 0;

    std::mutex lock_;
    /// Guarded by the lock, as all below. An id stays a display's for ever.
    std::map<std::string, std::string> namesById_;
    /// The first part of every label of this host.
    std::string process_;
    /// Whose stream it is.
    std::map<std::string, std::string> displaysByStream_;
    /// The bytes of the newest labels, which stay the same.
    std::map<std::string, std::size_t> bytesByLabel_;
    std::deque<std::string> labels_;
};

/// The order of labels as one client sees it, who asks for one frame after another. One thread.
class LabelOrder final {
  public:
    /// Whether a display's label may follow the one before.
    bool takes(const std::string& displayId, const std::string& label);

  private:
    struct Seen final {
        std::string stream;
        std::uint64_t number = 0;
        std::map<std::string, bool> given;
    };
    std::map<std::string, Seen> displays_;
};

}  // namespace velmora
