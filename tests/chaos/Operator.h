#pragma once

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "tests/chaos/AnswerRules.h"

namespace velmora {

/// Someone who polls the listing and every display's frame, and heeds the order of the labels. Made
/// and destroyed on one thread; asks on another.
class Operator final {
  public:
    Operator(AnswerRules& rules, ChaosTally& tally, std::vector<std::string> ids);
    ~Operator();
    Operator(const Operator&) = delete;
    Operator& operator=(const Operator&) = delete;

  private:
    void poll();

    AnswerRules& rules_;
    ChaosTally& tally_;
    const std::vector<std::string> ids_;
    std::atomic<bool> isStopped_ = false;
    LabelOrder order_;
    std::thread thread_;
};

}  // namespace velmora
