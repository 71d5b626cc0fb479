#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "tests/simulation/SimulationCourse.h"
#include "tests/simulation/rules/ListingOutcomes.h"
#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;
using Instant = ViewerContinuousClock::Instant;

constexpr auto pollTime = 20ms;
constexpr auto firstFrameLimit = 2s;
constexpr auto startLimit = 4s;
constexpr std::size_t tokenDigits = 32;

/// What a frame's answer says: its picture, and the parts of its label.
struct ToldFrame final {
    explicit ToldFrame(const std::string& message) {
        const std::size_t end = message.find("\r\n\r\n");
        body = message.substr(end + 4);
        constexpr std::string_view name = "X-Velmora-Frame: ";
        const std::size_t begin = message.find(name) + name.size();
        label = message.substr(begin, end - begin);
        if (label.size() > 2 * tokenDigits + 2) {
            process = label.substr(0, tokenDigits);
            session = label.substr(tokenDigits + 1, tokenDigits);
            number = std::strtoull(label.c_str() + 2 * tokenDigits + 2, nullptr, 10);
        }
    }
    std::string rightLabel() const {
        return process + "-" + session + "-" + std::to_string(number);
    }

    std::string body;
    std::string label;
    std::string process;
    std::string session;
    std::uint64_t number = 0;
};

bool isHexadecimal(const std::string& token) {
    return token.size() == tokenDigits &&
           token.find_first_not_of("0123456789abcdef") == std::string::npos;
}

/// A rule about the frames that are served, with the stream and the picture each one is of.
class FrameRule : public SimulationRule {
  public:
    using SimulationRule::SimulationRule;

  protected:
    struct Served final {
        const ConnectionHistory& connection;
        const ToldFrame& told;
        const StreamHistory& stream;
        /// The first and the last delivery of the picture.
        const PictureHistory& first;
        const PictureHistory& last;
    };

    virtual void frameServed(const Served& served) = 0;
    virtual void strangeFrameServed() {}

  private:
    void connectionAnswered(const ConnectionHistory& connection) final {
        if (connection.exchange.answer != SimulatedAnswer::frame ||
            !connection.message.starts_with("HTTP/1.1 200 ")) {
            return;
        }
        const ToldFrame told(connection.message);
        for (const StreamHistory& stream : history().streams) {
            const auto first =
                std::ranges::find(stream.pictures, told.body, &PictureHistory::bytes);
            if (first != stream.pictures.end()) {
                const auto last =
                    std::ranges::find(stream.pictures.rbegin(), stream.pictures.rend(), told.body,
                                      &PictureHistory::bytes);
                frameServed({connection, told, stream, *first, *last});
                return;
            }
        }
        strangeFrameServed();
    }
};

class AFrameIsAPictureOfItsDisplay final : public FrameRule {
    using FrameRule::FrameRule;
    std::string_view sentence() const override {
        return "a frame is a picture of the display that was asked for";
    }

    void strangeFrameServed() override { fail("no stream delivered it"); }
    void frameServed(const Served& served) override {
        expect(served.stream.displayID == served.connection.exchange.displayID,
               "it shows another display");
        expect(served.connection.message ==
                   responseText("200 OK", "image/jpeg", served.told.body, served.told.label),
               "it is framed wrongly");
        displays_.insert(served.stream.displayID);
        if (displays_.size() == 4) {
            course_.reach(SimulationState::framesOfFourDisplays);
        }
    }

    std::set<std::string> displays_;
};

class AFrameIsNew final : public FrameRule {
    using FrameRule::FrameRule;
    std::string_view sentence() const override {
        return "a frame is the newest of a living stream";
    }

    /// Whether its start had taken too long. Another's frame of it may leave in that very moment.
    static bool wasGivenUp(const Served& served) {
        const StreamHistory& stream = served.stream;
        return stream.startAsked &&
               stream.stopAsked->time >= stream.startAsked->time + startLimit &&
               (!stream.startAnswered || *stream.stopAsked < *stream.startAnswered) &&
               served.connection.answered->time == stream.stopAsked->time;
    }

    void frameServed(const Served& served) override {
        const SimulationMoment asked = *served.connection.complete;
        const StreamHistory& stream = served.stream;
        expect(!stream.died || !(*stream.died < asked), "its stream had died before the request");
        expect(!stream.stopAsked || !(*stream.stopAsked < asked),
               "its stream was stopped before the request");
        expect(!stream.stopAsked || history().isToEnd || wasGivenUp(served),
               "its stream was stopped under its hands");
        expect(!stream.startAnswered || stream.hasStarted || !(*stream.startAnswered < asked),
               "its stream had failed to start");
        for (const PictureHistory& picture : stream.pictures) {
            expect(!(picture.delivered < asked) || !(served.last.delivered < picture.delivered),
                   "there was a newer one");
        }
        for (const StreamHistory& other : history().streams) {
            expect(other.session != stream.session || other.number <= stream.number ||
                       !(other.made < asked),
                   "its stream had been replaced");
        }
        if (stream.died && *stream.died < *served.connection.answered) {
            course_.reach(SimulationState::deathBetweenFetchAndDelivery);
        }
    }
};

class LabelsNameFrames final : public FrameRule {
    using FrameRule::FrameRule;
    std::string_view sentence() const override {
        return "a label names one frame and rises within its session";
    }

    struct Session final {
        std::size_t queue = 0;
        std::map<std::uint64_t, std::string> pictures;
        std::map<std::uint64_t, std::uint64_t> orders;
    };

    void frameServed(const Served& served) override {
        const ToldFrame& told = served.told;
        expect(isHexadecimal(told.process) && isHexadecimal(told.session) && told.number > 0 &&
                   told.label == told.rightLabel(),
               "it has another form");
        expect(process_.empty() || process_ == told.process, "the process changes its token");
        process_ = told.process;
        Session& session = sessions_.try_emplace(told.session, Session{}).first->second;
        checkToken(session, served);
        const auto& bytes = session.pictures.try_emplace(told.number, told.body).first->second;
        expect(bytes == told.body, "one label, two frames");
        const auto order = served.first.delivered.order;
        const auto place = session.orders.try_emplace(told.number, order).first;
        expect(place == session.orders.begin() || std::prev(place)->second < order,
               "a newer frame has a lower number");
        expect(std::next(place) == session.orders.end() || order < std::next(place)->second,
               "an older frame has a higher number, or one frame has two");
        expect(told.number <= deliveredTo(served.stream.session), "numbers are left out");
    }
    /// A session has one token, and a token one session.
    void checkToken(Session& session, const Served& served) {
        if (session.pictures.empty()) {
            session.queue = served.stream.session;
            expect(queues_.insert(session.queue).second, "a session changes its token");
        }
        expect(session.queue == served.stream.session, "two sessions have one token");
    }
    std::size_t deliveredTo(std::size_t session) const {
        std::size_t count = 0;
        for (const StreamHistory& stream : history().streams) {
            count += stream.session == session ? stream.pictures.size() : 0;
        }
        return count;
    }

    std::string process_;
    std::map<std::string, Session> sessions_;
    std::set<std::size_t> queues_;
};

class FramesComeWhenTheyAreThere final : public SimulationRule {
    using SimulationRule::SimulationRule;
    std::string_view sentence() const override {
        return "a request waits for no frame that is there, and for none longer than 2 seconds";
    }

    void rested() override {
        if (pendingListings(history(), now().time) > 0) {
            return;
        }
        for (const ConnectionHistory* const connection : history().served) {
            if (connection->exchange.answer == SimulatedAnswer::frame && connection->isRouted()) {
                const auto since = past_.try_emplace(connection->number, now().time).first->second;
                check(*connection, since);
            }
        }
    }

    void check(const ConnectionHistory& connection, Instant since) const {
        std::vector<const StreamHistory*> streams;
        Instant begin = since;
        for (const StreamHistory& stream : history().streams) {
            if (stream.displayID == connection.exchange.displayID) {
                streams.push_back(&stream);
                begin = std::max(begin, startOf(stream));
            }
        }
        // A start may be another stream's than the one that has the frame.
        if (begin == now().time) {
            return;
        }
        expect(now().time <= begin + firstFrameLimit, "it waits for too long");
        expect(!connection.cancelled, "it was ended, and waits on");
        for (const StreamHistory* const stream : streams) {
            if (stream->isRecording() && !stream->pictures.empty()) {
                const Instant there = std::max(begin, stream->pictures.front().delivered.time);
                expect(now().time <= there + pollTime, "it waits for a frame that is there");
            }
        }
    }
    /// When the start was over for the host, or now while it is not.
    Instant startOf(const StreamHistory& stream) const {
        const Instant limit = stream.startAsked ? stream.startAsked->time + startLimit : Instant();
        const Instant answer = stream.startAnswered ? stream.startAnswered->time : now().time;
        return std::min(limit, answer);
    }

    /// When each request was past its listing.
    std::map<std::size_t, Instant> past_;
};

}  // namespace

void addFrameRules(SimulationRuleList& rules, SimulationCourse& course) {
    addRule<AFrameIsAPictureOfItsDisplay>(rules, course);
    addRule<AFrameIsNew>(rules, course);
    addRule<LabelsNameFrames>(rules, course);
    addRule<FramesComeWhenTheyAreThere>(rules, course);
}

}  // namespace velmora
