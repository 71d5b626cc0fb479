#pragma once

#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/chaos/AnswerRules.h"

namespace velmora {

/// Someone who does not behave: resets at any byte, sends half a head, drips, never reads, comes in
/// crowds, holds silent connections. What he does in which order depends on the seed. Whatever
/// answers he waits for are judged. Made and destroyed on one thread; acts on another.
class Stranger final {
  public:
    Stranger(AnswerRules& rules, ChaosTally& tally, std::vector<std::string> ids,
             std::uint32_t seed);
    ~Stranger();
    Stranger(const Stranger&) = delete;
    Stranger& operator=(const Stranger&) = delete;

  private:
    using Request = std::pair<Question, std::string>;

    void act();
    void resetSomewhere();
    void sendHalfAHead();
    void endSendingBehindIt();
    void drip();
    void askTwice();
    void neverRead();
    void leaveAtOnce();
    void beACrowd();
    void beSilent();

    int upTo(int most);
    void pause(int milliseconds) const;
    Request anyRequest();
    std::string anyBytes();

    AnswerRules& rules_;
    ChaosTally& tally_;
    const std::vector<std::string> ids_;
    std::mt19937 random_;
    std::atomic<bool> isStopped_ = false;
    std::thread thread_;
};

}  // namespace velmora
