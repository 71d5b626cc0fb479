#include "viewerctl/ViewerHostDoctor.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <utility>

#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

namespace {

using State = ViewerFinding::State;

/// Listings that are asked for.
constexpr int looks = 3;
/// A listing is ready at once; whoever waits longer for one has others before him.
constexpr std::chrono::seconds longAnswer{1};

bool isConnected(const ViewerTransfer& transfer) {
    return transfer.timings.connect > std::chrono::microseconds::zero();
}

/// Between the connection and the answer's first byte, or the end without one.
std::chrono::microseconds waitOf(const ViewerTransfer& transfer) {
    const ViewerTimings& timings = transfer.timings;
    const bool isAnswered = timings.firstByte > std::chrono::microseconds::zero();
    return (isAnswered ? timings.firstByte : timings.total) - timings.connect;
}

}  // namespace

ViewerHostDoctor::ViewerHostDoctor(ViewerHostClient& client, const ViewerConsole& console,
                                   ViewerHostAddress host)
    : client_(client), console_(console), host_(std::move(host)) {}

ViewerTask<std::vector<ViewerFinding>> ViewerHostDoctor::examine() {
    std::vector<ViewerTransfer> transfers;
    for (int look = 0; look < looks; ++look) {
        transfers.push_back(
            co_await client_.exchange(host_, std::string(ViewerHostProtocolV1::displaysPath)));
        const ViewerTransfer& latest = transfers.back();
        // What cannot be reached need not be asked again.
        if (client_.isStopped() || (latest.failure && !isConnected(latest))) {
            break;
        }
    }
    co_return judge(transfers);
}

ViewerFinding ViewerHostDoctor::finding(State state, const char* word, std::string_view english,
                                        std::string_view russian, std::string text) const {
    return {state, word, std::string(console_.say(english, russian)), std::move(text), ""};
}

std::string ViewerHostDoctor::milliseconds(std::chrono::microseconds time) const {
    constexpr double thousand = 1'000;
    std::array<char, 32> text{};
    (void)std::snprintf(text.data(), text.size(), "%.1f",
                        static_cast<double>(time.count()) / thousand);  // always fits
    return std::string(text.data()).append(console_.say(" ms", " мс"));
}

std::vector<ViewerFinding> ViewerHostDoctor::judge(
    const std::vector<ViewerTransfer>& transfers) const {
    std::vector<ViewerFinding> findings;
    judgeReach(findings, transfers.front());
    if (isConnected(transfers.front())) {
        judgeAnswer(findings, transfers);
        findings.push_back(waitingLine(transfers));
    }
    return findings;
}

void ViewerHostDoctor::judgeReach(std::vector<ViewerFinding>& findings,
                                  const ViewerTransfer& transfer) const {
    const auto nameFailed = transfer.failure == ViewerFailure::noSuchName ||
                            transfer.failure == ViewerFailure::nameServerSilent;
    if (!host_.isLiteral()) {
        findings.push_back(finding(nameFailed ? State::bad : State::good, "name", "name", "имя",
                                   nameFailed
                                       ? std::string(textOf(*transfer.failure, console_.language))
                                       : milliseconds(transfer.timings.lookUp)));
    }
    if (nameFailed) {
        findings.back().advice = adviceFor(*transfer.failure);
        return;
    }
    const bool isReached = isConnected(transfer);
    findings.push_back(
        finding(isReached ? State::good : State::bad, "connection", "connection", "соединение",
                isReached ? milliseconds(transfer.timings.connect)
                          : std::string(textOf(*transfer.failure, console_.language))));
    if (!isReached) {
        findings.back().advice = adviceFor(*transfer.failure);
    }
}

void ViewerHostDoctor::judgeAnswer(std::vector<ViewerFinding>& findings,
                                   const std::vector<ViewerTransfer>& transfers) const {
    const auto whole = std::find_if(transfers.begin(), transfers.end(),
                                    [](const auto& transfer) { return !transfer.failure; });
    const ViewerTransfer& told = whole != transfers.end() ? *whole : transfers.front();
    const auto outcome = told.failure ? ViewerOutcome<ViewerHostDisplayListing>(*told.failure)
                                      : ViewerAnswerCheck::listing(told.head, told.body);
    if (!outcome) {
        findings.push_back(finding(State::bad, "protocol", "protocol", "протокол",
                                   std::string(textOf(outcome.failure(), console_.language))));
        findings.back().advice = adviceFor(outcome.failure());
        return;
    }
    findings.push_back(
        finding(State::good, "protocol", "protocol", "протокол", "v1, " + outcome->machineName));
    const auto count = outcome->displays.size();
    findings.push_back(finding(count > 0 ? State::good : State::bad, "displays", "displays",
                               "дисплеи", std::to_string(count)));
    if (count == 0) {
        findings.back().advice = console_.say(
            "the host may not read its screen, or no monitor is on: run doctor there",
            "хост не может читать экран, или мониторы выключены: запустите doctor там");
    }
}

ViewerFinding ViewerHostDoctor::waitingLine(const std::vector<ViewerTransfer>& transfers) const {
    std::chrono::microseconds slowest{};
    bool isUnanswered = false;
    for (const ViewerTransfer& transfer : transfers) {
        slowest = std::max(slowest, waitOf(transfer));
        isUnanswered = isUnanswered || transfer.failure == ViewerFailure::timedOut ||
                       transfer.failure == ViewerFailure::brokeOff;
    }
    const bool isStarved = isUnanswered || slowest >= longAnswer;
    auto line = finding(isStarved ? State::bad : State::good, "waiting-line", "waiting line",
                        "очередь", milliseconds(slowest));
    if (isStarved) {
        line.text.append(
            console_.say(" without an answer: it is starved", " без ответа: она переполнена"));
        line.advice = console_.say(
            "others hold all 16 connections of the host, or it hangs: let many viewers share one "
            "stream of this program",
            "все 16 соединений хоста заняты другими, или он завис: пусть зрители пользуются одним "
            "потоком этой программы");
    }
    return line;
}

std::string ViewerHostDoctor::adviceFor(ViewerFailure failure) const {
    const auto say = [&](std::string_view english, std::string_view russian) {
        return std::string(console_.say(english, russian));
    };
    switch (failure) {
        case ViewerFailure::noSuchName:
            return say("check the spelling, or name its address",
                       "проверьте имя или укажите адрес");
        case ViewerFailure::nameServerSilent:
            return say("check this machine's network, or name the host's address",
                       "проверьте сеть этой машины или укажите адрес хоста");
        case ViewerFailure::refused:
            return say("the machine is there: start Viewer Host on it, and run doctor there",
                       "машина на месте: запустите на ней Viewer Host и doctor");
        case ViewerFailure::noRoute:
            return say("check the address and this machine's network",
                       "проверьте адрес и сеть этой машины");
        case ViewerFailure::timedOut:
            return say("it is off, in another network, or a firewall drops TCP 9090",
                       "она выключена, в другой сети, или сетевой экран закрывает TCP 9090");
        case ViewerFailure::notAViewerHost:
            return say("something else listens there: run doctor on that machine",
                       "там слушает другая программа: запустите doctor на той машине");
        case ViewerFailure::otherVersion:
            return say("this program speaks version 1: update the older of the two",
                       "эта программа говорит на версии 1: обновите ту, что старше");
        default:
            return {};
    }
}

}  // namespace velmora
