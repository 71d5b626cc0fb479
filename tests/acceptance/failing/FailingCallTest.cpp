#include "tests/acceptance/failing/FailingCallTest.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <utility>

#include "app/linux/ViewerAlertMessage.h"
#include "core/protocol/ViewerHostProtocolV1.h"

namespace velmora {

namespace {

/// An undisturbed trial differs from another one by a few calls: what is told when.
constexpr int slack = 2;
constexpr std::chrono::seconds hangs{15};

std::string variable(const char* name) {
    const char* const value = std::getenv(name);  // NOLINT(concurrency-mt-unsafe)
    return value != nullptr ? value : "";
}

bool isWholeGrid() {
    return !variable("EVERY_FAILURE").empty();
}

bool isAllocation(std::string_view call) {
    constexpr std::array allocations{"new", "large new", "malloc", "aligned_alloc"};
    return std::ranges::find(allocations, call) != allocations.end();
}

/// Of so many calls of a name each is refused in a short run, of more only as many.
int mostTrialsOf(std::string_view call, bool isOnWayland) {
    constexpr int all = 100;
    const bool isOfConnections = call == "send" || call == "poll";
    return call == "large new" || (isOfConnections && !isOnWayland) ? all
           : isAllocation(call) || isOnWayland                      ? 2
                                                                    : 6;
}

bool canBreakBus(std::string_view call) {
    return call == "recv" || call == "send" || call == "sd_bus_process";
}

bool isMeant(std::string_view call, bool isForAllocations) {
    const std::string only = variable("FAILING_CALL_NAME");
    return isAllocation(call) == isForAllocations && (only.empty() || call == only);
}

bool nothingIsListed() {
    const auto displays = listDisplays();
    return displays && displays->empty();
}

}  // namespace

std::string onlyId() {
    const auto displays = listDisplays();
    return displays && displays->size() == 1 ? displays->front().id : "";
}

FailingCallTest::FailingCallTest() {
    // Beside it, in the place of the one that shows alerts, a program that answers at once.
    std::filesystem::copy_file(VIEWER_HOST_PATH, programs_.path() / "VelmoraViewerHost");
    showAlertsBy("exit " + std::to_string(ViewerAlertMessage::firstButtonStatus));
    paintAnew();
}

void FailingCallTest::showAlertsBy(const std::string& command) {
    const auto alert = programs_.path() / "VelmoraViewerHostAlert";
    std::ofstream(alert) << "#!/bin/sh\n" << command << "\n";
    std::filesystem::permissions(alert, std::filesystem::perms::owner_all);
}

void FailingCallTest::tryAll(const Trial& trial) {
    const CallFailure none;
    ASSERT_EQ(trial(none, 1), "");
    std::vector<std::pair<std::string, int>> made;
    for (const std::string_view call : FailingCall::names) {
        if (const int times = calls_.made(std::string(call));
            times > 0 && isMeant(call, GetParam().isAllocation)) {
            made.emplace_back(call, times + slack);
        }
    }
    int trials = 0;
    for (const auto& [call, times] : made) {
        std::vector<CallFailure> failures = failuresOf(call);
        const int most = mostTrialsOf(call, screen_->canLoseConsent());
        const int step = isWholeGrid() ? 1 : (times + most - 1) / most;
        failures.resize(isWholeGrid() ? failures.size() : 1);
        for (const CallFailure& failure : failures) {
            for (int k = 1; k <= times; k += step) {
                ++trials;
                EXPECT_EQ(trial(failure, k), "") << failure.text() << ", call " << k;
            }
        }
    }
    std::cout << "trials " << trials << "\n";
}

HostLaunch FailingCallTest::launch() {
    HostLaunch launch = screen_->launch();
    launch.program = programs_.path() / "VelmoraViewerHost";
    launch.environment["DBUS_SYSTEM_BUS_ADDRESS"] = "unix:path=/nonexistent/bus";
    launch.environment["TMPDIR"] = programs_.path();
    calls_.putInto(launch);
    return launch;
}

void FailingCallTest::serve(const HostLaunch& launch) {
    host_ = std::make_unique<HostProcess>(launch);
    ASSERT_EQ(host_->readLine(), listeningLine);
}

void FailingCallTest::startServing() {
    calls_.end();
    clock_.emplace();
    HostLaunch whole = launch();
    whole.isOnTerminal = GetParam().isAllocation;
    clock_->putInto(whole);
    calls_.putInto(whole);
    host_.reset();
    serve(whole);
    ASSERT_TRUE(eventually([&] { return !(id_ = onlyId()).empty(); }));
    // What it opens by itself after its start is there once nothing is added any more.
    int unchanged = 0;
    while (unchanged < 3) {
        ASSERT_TRUE(eventually([&] { return frameOf(id_).has_value(); }));
        passTime();
        const std::size_t before = std::exchange(descriptors_, restingDescriptors());
        threads_ = host_->threads();
        unchanged = before == descriptors_ ? unchanged + 1 : 0;
    }
}

std::size_t FailingCallTest::restingDescriptors() const {
    // A capture that ends closes one after the other.
    constexpr int looks = 10;
    std::size_t count = 0;
    int unchanged = 0;
    EXPECT_TRUE(eventually([&] {
        const bool isSame = std::exchange(count, host_->descriptors()) == count;
        unchanged = isSame && host_->threadsNamed("capture.") == 0 ? unchanged + 1 : 0;
        return unchanged == looks;
    }));
    return count;
}

FailingCallTest::Complaint FailingCallTest::tryServing(const CallFailure& failure, int k,
                                                       const std::function<Complaint()>& act) {
    if (!host_) {
        startServing();
    }
    paintAnew();
    calls_.begin(failure, k);
    Complaint complaint = act();
    calls_.end();
    const bool mayEnd =
        isAllocation(failure.call) && (failure.call != "large new" || k < firstPicture());
    if (complaint.empty() && mayEnd && HTTPClient::get("/").status() != 404) {
        complaint = complaintAboutEnd(failure, true);
        host_.reset();
        return complaint;
    }
    if (failure.call == "malloc") {
        // libxcb without memory may wait for ever for what it has dropped; the idle stop ends that.
        passTime();
    }
    if (complaint.empty()) {
        complaint = complaintAfterwards(failure);
    }
    if (!complaint.empty()) {
        host_.reset();
    }
    return complaint;
}

int FailingCallTest::firstPicture() const {
    return screen_->canLoseConsent() ? 2 : 1;
}

FailingCallTest::Complaint FailingCallTest::complaintAboutEnd(const CallFailure& failure,
                                                              bool mayAbort) {
    const auto end = host_->awaitEnd();
    if (end == endedInOrder) {
        return "";
    }
    const std::string words = mayAbort && end ? host_->readTerminal() : "";
    const bool hasAborted = end == HostEnd{std::nullopt, SIGABRT};
    const bool hasReason = isAllocation(failure.call)
                               ? words == "Velmora Viewer Host: there is no memory left\r\n"
                               : !words.empty();
    return hasAborted && hasReason ? "" : "the end: " + testing::PrintToString(end) + " " + words;
}

FailingCallTest::Complaint FailingCallTest::complaintAboutLostConsent(const CallFailure& failure) {
    if (!canBreakBus(failure.call)) {
        return "the consent is lost";
    }
    host_->signal(SIGTERM);
    const Complaint complaint = complaintAboutEnd(failure, false);
    host_.reset();
    return complaint;
}

FailingCallTest::Complaint FailingCallTest::complaintAfterwards(const CallFailure& failure) {
    if (const auto answer = HTTPClient::get("/"); answer.status() != 404) {
        const auto end = host_->awaitEnd(std::chrono::seconds(1));
        return "the next request is answered with " + answer.head() +
               (end ? ", " + testing::PrintToString(*end) : "");
    }
    // What the failure has ended begins anew.
    bool hasLostConsent = false;
    const bool isSeenAgain = eventually([&] {
        const auto picture = frameOf(id_);
        hasLostConsent = !picture && screen_->canLoseConsent() && nothingIsListed();
        return hasLostConsent ||
               (picture && (screen_->isSeenAtOnce() || picture->isAll(colour_, jpegTolerance)));
    });
    if (!isSeenAgain) {
        return "no frame comes again";
    }
    if (hasLostConsent) {
        return complaintAboutLostConsent(failure);
    }
    if (onlyId() != id_) {
        return "the display is not listed again";
    }
    colourBefore_ = colour_;
    if (const auto complaint = askForFrame(); !complaint.empty()) {
        return "the next frame: " + complaint;
    }
    return complaintAboutRest(failure);
}

FailingCallTest::Complaint FailingCallTest::complaintAboutRest(const CallFailure& failure) {
    passTime();
    std::size_t left = 0;
    const bool isAsBefore = eventually([&] {
        const std::size_t now = host_->descriptors();
        left = std::max(now, descriptors_) - descriptors_;
        return left <= mostLeftBy(failure) && host_->threads() <= threads_;
    });
    if (!isAsBefore) {
        return "there are " + std::to_string(host_->descriptors()) + " descriptors and " +
               std::to_string(host_->threads()) + " threads, not " + std::to_string(descriptors_) +
               " and " + std::to_string(threads_);
    }
    // Where something is gone, as a connection to a bus, another host shows what is left.
    if (host_->descriptors() != descriptors_ || host_->threads() != threads_) {
        host_.reset();
    }
    return "";
}

std::size_t FailingCallTest::mostLeftBy(const CallFailure& failure) const {
    // libxcb 1.15 without memory for what it awaits gives the connection up, and closes no
    // descriptor that it was to send. PipeWire's library 0.3.65 closes neither of those that wake a
    // stream when it cannot map what goes with them.
    const bool isOnWayland = screen_->canLoseConsent();
    const std::size_t leftByPipeWire = failure.call == "mmap" ? 2 : 0;
    const std::size_t leftByLibxcb = failure.call == "malloc" ? 1 : 0;
    return isOnWayland ? leftByPipeWire : leftByLibxcb;
}

void FailingCallTest::passTime() {
    clock_->fallAsleep();
    clock_->wakeUpAfterAnHour();
    clock_->goOn();
}

FailingCallTest::Complaint FailingCallTest::complaintAbout(const HTTPAnswer& answer,
                                                           const std::vector<int>& codes) const {
    if (answer.bytes.empty()) {
        return "";
    }
    if (std::ranges::find(codes, answer.status()) == codes.end()) {
        return "answered with " + answer.head();
    }
    const std::size_t announced = std::stoul(answer.header("Content-Length").value_or("0"));
    const std::string body = answer.body();
    if (body.size() != announced || answer.status() != 200) {
        return body.size() <= announced ? "" : "answered with more than it announced";
    }
    if (answer.header("Content-Type") != "image/jpeg") {
        const auto displays = displaysIn(answer);
        return displays &&
                       (displays->empty() || (displays->size() == 1 && displays->front().id == id_))
                   ? ""
                   : "a wrong listing: " + body;
    }
    const auto picture = pictureIn(answer);
    const bool isRight = picture && (picture->isAll(colour_, jpegTolerance) ||
                                     picture->isAll(colourBefore_, jpegTolerance));
    return isRight ? "" : "a wrong picture";
}

FailingCallTest::Complaint FailingCallTest::exchange(std::string_view bytes,
                                                     const std::vector<int>& codes) const {
    HTTPClient client;
    client.send(bytes);
    return client.awaitBytes(hangs) ? complaintAbout(client.receive(), codes)
                                    : "neither an answer nor an end";
}

FailingCallTest::Complaint FailingCallTest::askForFrame() const {
    return exchange("GET " + frameTarget(id_) + " HTTP/1.1\r\n\r\n", {200, 404, 503});
}

/// So that an old picture is seen as one.
void FailingCallTest::paintAnew() {
    constexpr std::uint32_t every = 0x010101;
    constexpr std::uint32_t bright = 0x808080;
    const std::uint32_t before = std::exchange(colour_, (colour_ * 5 + every) & 0xffffff & ~bright);
    screen_->fill(colour_);
    colourBefore_ = screen_->isSeenAtOnce() ? colour_ : before;
}

}  // namespace velmora
