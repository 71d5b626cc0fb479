#include "tests/chaos/ChaosRun.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>
#include <utility>

#include "core/runtime/ViewerCheck.h"
#include "tests/support/host/HostTest.h"
#include "tests/support/system/TemporaryFolder.h"
#include "tests/support/x11/XChildProcess.h"

namespace velmora {

namespace {

using namespace std::chrono_literals;

/// A capture has its last request behind it for 5 seconds before it ends; the rest is the
/// machine's.
constexpr auto idlePatience = 60s;

int numberIn(const char* variable, int otherwise) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes this process's environment.
    const char* const text = std::getenv(variable);
    return text != nullptr ? std::stoi(text) : otherwise;
}

std::ptrdiff_t difference(std::size_t now, std::size_t before) {
    return static_cast<std::ptrdiff_t>(now) - static_cast<std::ptrdiff_t>(before);
}

}  // namespace

ChaosForm ChaosForm::fromEnvironment() {
    // Crowds are more clients at once than a process normally may be.
    rlimit limit{};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &limit), 0);
    limit.rlim_cur = limit.rlim_max;
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &limit), 0);
    ChaosForm form;
    form.duration = std::chrono::seconds(numberIn("VIEWER_CHAOS_SECONDS", 0));
    form.restarts = numberIn("VIEWER_CHAOS_RESTARTS", form.restarts);
    form.seed = static_cast<std::uint32_t>(numberIn("VIEWER_CHAOS_SEED", 1));
    std::cout << "VIEWER_CHAOS_SEED=" << form.seed << '\n' << std::flush;
    return form;
}

Footprint Footprint::of(const HostProcess& host) {
    return {host.descriptors(), host.threads(), host.residentBytes()};
}

ChaosRun::ChaosRun(HostProcess& host, AnswerRules& rules, ChaosTally& tally, std::uint32_t seed,
                   std::function<bool()> isIdle)
    : host_(host), rules_(rules), tally_(tally), random_(seed), isIdle_(std::move(isIdle)) {}

bool ChaosRun::awaitDisplays(std::size_t count) {
    return eventually([&] {
        ids_ = rules_.idsByName();
        return ids_.size() == count;
    });
}

void ChaosRun::begin(std::size_t operators, std::size_t strangers) {
    std::vector<std::string> ids;
    ids.reserve(ids_.size());
    for (const auto& [name, id] : ids_) {
        ids.push_back(id);
    }
    for (std::size_t i = 0; i < operators; ++i) {
        operators_.push_back(std::make_unique<Operator>(rules_, tally_, ids));
    }
    for (std::size_t i = 0; i < strangers; ++i) {
        strangers_.push_back(
            std::make_unique<Stranger>(rules_, tally_, ids, static_cast<std::uint32_t>(random_())));
    }
}

void ChaosRun::end() {
    strangers_.clear();
    operators_.clear();
}

void ChaosRun::attackSlowly(const std::string& way, std::chrono::seconds duration) {
    const TemporaryFolder folder;
    constexpr int connections = 48;
    XChildProcess::Start what;
    what.arguments = {"slowhttptest", way,
                      "-c",           std::to_string(connections),
                      "-r",           "50",
                      "-i",           "1",
                      "-l",           std::to_string(duration.count()),
                      "-u",           "http://127.0.0.1:9090/viewer/v1/displays"};
    if (way == "-X") {
        what.arguments.insert(what.arguments.end(), {"-w", "10", "-y", "20", "-n", "1", "-z", "8"});
    }
    what.logFile = folder.path() / "log";
    int status = 0;
    viewerCheck(XChildProcess::waitForEnd(XChildProcess::start(what), duration + 60s, status),
                "slowhttptest ends");
    std::ostringstream log;
    log << std::ifstream(what.logFile).rdbuf();
    // Either its time was over, or all of its requests were answered.
    EXPECT_THAT(log.str(), testing::AnyOf(testing::HasSubstr("Hit test time limit"),
                                          testing::HasSubstr("No open connections left")));
    tally_.strangers += connections;
}

rlimit ChaosRun::takeDescriptors() {
    constexpr std::size_t mostLeft = 6;
    rlimit before{};
    EXPECT_EQ(::prlimit(host_.id(), RLIMIT_NOFILE, nullptr, &before), 0);
    rlimit low = before;
    low.rlim_cur = host_.descriptors() + below(mostLeft + 1);
    EXPECT_EQ(::prlimit(host_.id(), RLIMIT_NOFILE, &low, nullptr), 0);
    return before;
}

void ChaosRun::giveDescriptors(const rlimit& limit) {
    EXPECT_EQ(::prlimit(host_.id(), RLIMIT_NOFILE, &limit, nullptr), 0);
}

void ChaosRun::rest() {
    EXPECT_TRUE(eventually(isIdle_, idlePatience));
    rest_ = Footprint::of(host_);
    // What is still on its way out would hide as much of what stays later.
    constexpr int looks = 50;
    for (int i = 0; i < looks; ++i) {
        EXPECT_EQ(host_.awaitEnd(20ms), std::nullopt);
        const Footprint next = Footprint::of(host_);
        rest_.descriptors = std::min(rest_.descriptors, next.descriptors);
        rest_.threads = std::min(rest_.threads, next.threads);
    }
    rest_.residentBytes = host_.residentBytes();
}

bool ChaosRun::comesToRest() {
    const auto asked = std::chrono::steady_clock::now();
    const bool isListed = displaysIn(rules_.ask({})).has_value();
    const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - asked);
    tally_.longestListing = std::max(tally_.longestListing, took);
    Footprint now;
    const bool isAtRest =
        eventually(isIdle_, idlePatience) && eventually(
                                                 [&] {
                                                     now = Footprint::of(host_);
                                                     return now.descriptors <= rest_.descriptors &&
                                                            now.threads <= rest_.threads;
                                                 },
                                                 idlePatience);
    tally_.descriptorDrift =
        std::max(tally_.descriptorDrift, difference(now.descriptors, rest_.descriptors));
    tally_.threadDrift = std::max(tally_.threadDrift, difference(now.threads, rest_.threads));
    tally_.grownBytes =
        std::max(tally_.grownBytes, difference(now.residentBytes, rest_.residentBytes));
    std::cout << (isAtRest ? "at rest: " : "not at rest: ") << now.descriptors << " descriptors of "
              << rest_.descriptors << ", " << now.threads << " threads of " << rest_.threads << ", "
              << now.residentBytes / 1024 << " KiB\n"
              << std::flush;
    return isListed && isAtRest;
}

std::size_t ChaosRun::below(std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random_);
}

std::chrono::milliseconds ChaosRun::moment(std::chrono::milliseconds longest) {
    return std::chrono::milliseconds(
        std::uniform_int_distribution<std::int64_t>(0, longest.count())(random_));
}

}  // namespace velmora
