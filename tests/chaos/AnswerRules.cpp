#include "tests/chaos/AnswerRules.h"

#include <algorithm>
#include <functional>
#include <regex>
#include <set>
#include <string_view>

#include "tests/support/system/HostAnswers.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// A little less than the deadline of a connection, which began no earlier than its client did.
constexpr auto deadline = 4900ms;

constexpr int widest = 640;
constexpr int highest = 360;

/// The head that belongs to this status and body, as it has to be to the last byte.
std::string properHead(const HTTPAnswer& answer) {
    const std::size_t size = answer.body().size();
    const auto head = [&](const std::string& status, const std::string& type,
                          const std::string& more) {
        return "HTTP/1.1 " + status + "\r\nContent-Type: " + type +
               "\r\nContent-Length: " + std::to_string(size) +
               "\r\nCache-Control: no-store\r\nConnection: close\r\n" + more + "\r\n";
    };
    const auto label = answer.header("X-Velmora-Frame");
    switch (answer.status()) {
        case 200:
            return label ? head("200 OK", "image/jpeg", "X-Velmora-Frame: " + *label + "\r\n")
                         : head("200 OK", "application/json", "");
        case 404:
            return head("404 Not Found", "text/plain", "");
        case 405:
            return head("405 Method Not Allowed", "text/plain", "");
        case 431:
            return head("431 Request Header Fields Too Large", "text/plain", "");
        case 503:
            return head("503 Service Unavailable", "text/plain", "");
        default:
            return "";
    }
}

/// What can be read of it.
std::string beginningOf(const HTTPAnswer& answer) {
    constexpr std::size_t longest = 250;
    std::string text = answer.head().substr(0, longest);
    std::ranges::replace_if(
        text, [](char character) { return character < ' ' || character > '~'; }, '.');
    return text;
}

bool mayAnswer(const Question& question, int status, bool isUnsettled) {
    switch (question.kind) {
        case Question::Kind::listing:
            return status == 200;
        case Question::Kind::frame:
            return status == 200 || status == 503 || (status == 404 && isUnsettled);
        case Question::Kind::unknownPath:
            return status == 404;
        case Question::Kind::otherMethod:
            return status == 405;
        case Question::Kind::largeHead:
            return status == 431;
        case Question::Kind::incomplete:
            return false;
    }
    return false;
}

std::string bytesOf(const Question& question) {
    switch (question.kind) {
        case Question::Kind::listing:
            return "GET /viewer/v1/displays HTTP/1.1\r\n\r\n";
        case Question::Kind::frame:
            return "GET " + frameTarget(question.displayId) + " HTTP/1.1\r\n\r\n";
        case Question::Kind::otherMethod:
            return "POST / HTTP/1.1\r\n\r\n";
        default:
            return "GET / HTTP/1.1\r\n\r\n";
    }
}

struct Label final {
    std::string process;
    std::string stream;
    std::uint64_t number = 0;
};

std::optional<Label> parsed(const std::string& text) {
    static const std::regex form("([0-9a-f]{32})-([0-9a-f]{32})-([1-9][0-9]{0,18})");
    std::smatch found;
    if (!std::regex_match(text, found, form)) {
        return std::nullopt;
    }
    return Label{found[1], found[2], std::stoull(found[3])};
}

}  // namespace

void AnswerRules::unsettle() {
    isUnsettled_ = true;
    ++changes_;
}

void AnswerRules::settle() {
    ++changes_;
    isUnsettled_ = false;
}

AnswerRules::Moment AnswerRules::now() const {
    return {std::chrono::steady_clock::now(), isUnsettled_, isEnding_, changes_};
}

void AnswerRules::judge(const Question& question, const HTTPAnswer& answer, const Moment& begin) {
    const Moment end = now();
    if (end.isEnding && answer.bytes.empty()) {
        return;
    }
    ++tally_.answers;
    const bool isLate = end.time - begin.time >= deadline;
    const Latitude latitude{
        begin.isUnsettled || end.isUnsettled || begin.changes != end.changes,
        isLate || end.isEnding,
    };
    const std::string found = fault(question, answer, latitude);
    if (!found.empty()) {
        const auto took =
            std::chrono::duration_cast<std::chrono::milliseconds>(end.time - begin.time);
        tally_.wrong(found + " after " + std::to_string(took.count()) +
                     " ms: " + beginningOf(answer));
    }
}

std::string AnswerRules::fault(const Question& question, const HTTPAnswer& answer,
                               Latitude latitude) {
    const std::string head = properHead(answer);
    const bool isProper = !head.empty() && answer.bytes.starts_with(head) && answer.isWhole;
    if (question.kind == Question::Kind::incomplete) {
        return answer.bytes.empty() && (answer.isWhole || latitude.mayBeCut)
                   ? ""
                   : "an answer to less than a request";
    }
    if (!isProper && latitude.mayBeCut) {
        ++tally_.cutAnswers;
        return "";
    }
    if (answer.bytes.empty()) {
        return "no answer";
    }
    if (!isProper) {
        return "cut short, or another head";
    }
    if (!mayAnswer(question, answer.status(), latitude.isUnsettled)) {
        return "another status";
    }
    if (answer.status() != 200) {
        return answer.body().empty() ? "" : "a refusal with a body";
    }
    return question.kind == Question::Kind::listing
               ? faultOfListing(answer, latitude.isUnsettled)
               : faultOfFrame(question.displayId, answer, latitude.isUnsettled);
}

std::string AnswerRules::faultOfListing(const HTTPAnswer& answer, bool isUnsettled) {
    const auto displays = displaysIn(answer);
    if (!displays) {
        return "no listing";
    }
    const std::scoped_lock guard(lock_);
    std::set<std::string> names;
    for (const ViewerHostDisplay& display : *displays) {
        const bool isKnown = huesByName_.contains(display.name);
        if (!isKnown && !isUnsettled) {
            return "a display that is not there: " + display.name;
        }
        if (!isKnown) {
            continue;
        }
        if (!names.insert(display.name).second) {
            return "a display twice: " + display.name;
        }
        const auto known = namesById_.emplace(display.id, display.name).first;
        if (known->second != display.name) {
            return "an id of another display: " + display.id;
        }
    }
    return isUnsettled || names.size() == huesByName_.size() ? "" : "displays are missing";
}

std::string AnswerRules::faultOfFrame(const std::string& id, const HTTPAnswer& answer,
                                      bool isUnsettled) {
    const auto picture = JPEGPicture::decode(answer.body());
    if (!picture) {
        return "a JPEG that cannot be decoded";
    }
    ++tally_.pictures;
    if (picture->width > widest || picture->height > highest) {
        return "a picture that is too large";
    }
    std::string name;
    {
        const std::scoped_lock guard(lock_);
        name = namesById_[id];
    }
    if (!isOfHue(*picture, huesByName_.at(name), isUnsettled)) {
        return "another display's picture, of " + name + ", first pixel " +
               std::to_string(picture->at(0, 0));
    }
    return faultOfLabel(id, answer);
}

std::string AnswerRules::faultOfLabel(const std::string& id, const HTTPAnswer& answer) {
    constexpr std::size_t kept = 4096;
    const std::string text = *answer.header("X-Velmora-Frame");
    const auto label = parsed(text);
    if (!label) {
        return "no label";
    }
    const std::size_t bytes = std::hash<std::string>()(answer.body());
    const std::scoped_lock guard(lock_);
    if (process_.empty()) {
        process_ = label->process;
    }
    if (process_ != label->process) {
        return "a label of another process";
    }
    if (displaysByStream_.emplace(label->stream, id).first->second != id) {
        return "a label of another display's";
    }
    const auto [found, isNew] = bytesByLabel_.emplace(text, bytes);
    if (isNew) {
        labels_.push_back(text);
        if (labels_.size() > kept) {
            bytesByLabel_.erase(labels_.front());
            labels_.pop_front();
        }
    }
    return found->second == bytes ? "" : "another picture under the same label";
}

HTTPAnswer AnswerRules::ask(const Question& question) {
    const Moment begin = now();
    HTTPClient client;
    client.send(bytesOf(question));
    HTTPAnswer answer = client.receive();
    judge(question, answer, begin);
    return answer;
}

std::optional<JPEGPicture> AnswerRules::frame(const std::string& id) {
    return pictureIn(ask({Question::Kind::frame, id}));
}

std::map<std::string, std::string> AnswerRules::idsByName() {
    std::map<std::string, std::string> ids;
    for (const ViewerHostDisplay& display :
         displaysIn(ask({})).value_or(std::vector<ViewerHostDisplay>())) {
        ids.emplace(display.name, display.id);
    }
    return ids;
}

bool LabelOrder::takes(const std::string& displayId, const std::string& label) {
    const auto next = parsed(label);
    if (!next) {
        return false;
    }
    Seen& seen = displays_[displayId];
    if (next->stream == seen.stream) {
        const bool rises = next->number >= seen.number;
        seen.number = next->number;
        return rises;
    }
    seen.stream = next->stream;
    seen.number = next->number;
    // A stream that was given up does not come back.
    return seen.given.emplace(next->stream, true).second;
}

}  // namespace velmora
