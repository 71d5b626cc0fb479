#include "tests/chaos/Stranger.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "tests/support/system/HostAnswers.h"

namespace velmora {

namespace {

constexpr std::size_t largestHead = 8192;

}  // namespace

Stranger::Stranger(AnswerRules& rules, ChaosTally& tally, std::vector<std::string> ids,
                   std::uint32_t seed)
    : rules_(rules), tally_(tally), ids_(std::move(ids)), random_(seed), thread_([this] {
          while (!isStopped_) {
              act();
              ++tally_.strangers;
              pause(upTo(20));
          }
      }) {}

Stranger::~Stranger() {
    isStopped_ = true;
    thread_.join();
}

void Stranger::act() {
    static constexpr std::array deeds{
        &Stranger::resetSomewhere, &Stranger::sendHalfAHead, &Stranger::endSendingBehindIt,
        &Stranger::drip,           &Stranger::askTwice,      &Stranger::neverRead,
        &Stranger::leaveAtOnce,    &Stranger::beACrowd,      &Stranger::beSilent};
    (this->*deeds.at(static_cast<std::size_t>(upTo(static_cast<int>(deeds.size()) - 1))))();
}

void Stranger::resetSomewhere() {
    const std::string bytes = anyRequest().second;
    HTTPClient client;
    client.send(std::string_view(bytes).substr(
        0, static_cast<std::size_t>(upTo(static_cast<int>(bytes.size())))));
    pause(upTo(30));
    client.reset();
}

void Stranger::sendHalfAHead() {
    const std::string bytes = "GET /viewer/v1/displays HTTP/1.1\r\nHost: somewhere\r\n\r\n";
    const auto begin = rules_.now();
    HTTPClient client;
    client.send(std::string_view(bytes).substr(
        0, static_cast<std::size_t>(upTo(static_cast<int>(bytes.size()) - 1))));
    client.endSending();
    rules_.judge({Question::Kind::incomplete, ""}, client.receive(), begin);
}

void Stranger::endSendingBehindIt() {
    const auto [question, bytes] = anyRequest();
    const auto begin = rules_.now();
    HTTPClient client;
    client.send(bytes);
    client.endSending();
    rules_.judge(question, client.receive(), begin);
}

void Stranger::drip() {
    constexpr std::size_t drops = 40;
    const auto [question, bytes] = anyRequest();
    const auto begin = rules_.now();
    HTTPClient client;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t size =
            1 + static_cast<std::size_t>(upTo(static_cast<int>(2 * (bytes.size() / drops + 1))));
        client.send(std::string_view(bytes).substr(at, size));
        at += size;
        pause(upTo(20));
    }
    rules_.judge(question, client.receive(), begin);
}

void Stranger::askTwice() {
    const auto [question, bytes] = anyRequest();
    const auto begin = rules_.now();
    HTTPClient client;
    client.send(bytes + "GET /viewer/v1/displays HTTP/1.1\r\n\r\n");
    rules_.judge(question, client.receive(), begin);
}

void Stranger::neverRead() {
    std::vector<HTTPClient> deaf;
    for (int i = upTo(4); i >= 0; --i) {
        deaf.push_back(HTTPClient::takingIn(1));
        deaf.back().send(anyRequest().second);
    }
    tally_.strangers += deaf.size() - 1;
    pause(upTo(1000));
    if (upTo(1) == 0) {
        deaf.front().reset();
    }
}

void Stranger::leaveAtOnce() {
    HTTPClient client;
    client.send(anyRequest().second);
}

void Stranger::beACrowd() {
    constexpr int largest = 120;
    constexpr int mostSilent = 8;
    std::vector<HTTPClient> silent(static_cast<std::size_t>(upTo(mostSilent)));
    std::vector<HTTPClient> clients(static_cast<std::size_t>(upTo(largest)));
    std::vector<std::pair<Question, AnswerRules::Moment>> asked;
    for (HTTPClient& client : clients) {
        const auto [question, bytes] = anyRequest();
        asked.emplace_back(question, rules_.now());
        client.send(bytes);
    }
    for (std::size_t i = 0; i < clients.size(); ++i) {
        rules_.judge(asked[i].first, clients[i].receive(), asked[i].second);
    }
    tally_.strangers += silent.size() + clients.size();
}

void Stranger::beSilent() {
    const HTTPClient silent;
    pause(upTo(1500));
}

int Stranger::upTo(int most) {
    return std::uniform_int_distribution<int>(0, most)(random_);
}

void Stranger::pause(int milliseconds) const {
    constexpr int step = 50;
    for (int left = milliseconds; left > 0 && !isStopped_; left -= step) {
        (void)::poll(nullptr, 0, std::min(left, step));  // a signal may cut it short
    }
}

Stranger::Request Stranger::anyRequest() {
    const std::string end = " HTTP/1.1\r\nHost: somewhere\r\n\r\n";
    switch (upTo(6)) {
        case 0:
            return {{Question::Kind::listing, ""}, "GET /viewer/v1/displays" + end};
        case 1:
            return {{Question::Kind::otherMethod, ""}, "DELETE /viewer/v1/displays" + end};
        case 2:
            return {{Question::Kind::otherMethod, ""}, anyBytes() + "\r\n\r\n"};
        case 3:
            return {{Question::Kind::largeHead, ""},
                    "GET /" + std::string(largestHead + static_cast<std::size_t>(upTo(3000)), 'a')};
        case 4:
            return {{Question::Kind::unknownPath, ""}, "GET /somewhere" + end};
        default: {
            const std::string& id =
                ids_.at(static_cast<std::size_t>(upTo(static_cast<int>(ids_.size()) - 1)));
            return {{Question::Kind::frame, id}, "GET " + frameTarget(id) + end};
        }
    }
}

/// Never the beginning of a request of ours, nor its end.
std::string Stranger::anyBytes() {
    std::string bytes(1, '\x80');
    for (int i = upTo(300); i > 0; --i) {
        const char next = static_cast<char>(upTo(255));
        bytes.push_back(next == '\n' ? ' ' : next);
    }
    return bytes;
}

}  // namespace velmora
