#include "tests/chaos/Operator.h"

#include <poll.h>

#include <utility>

namespace velmora {

Operator::Operator(AnswerRules& rules, ChaosTally& tally, std::vector<std::string> ids)
    : rules_(rules), tally_(tally), ids_(std::move(ids)), thread_([this] { poll(); }) {}

Operator::~Operator() {
    isStopped_ = true;
    thread_.join();
}

void Operator::poll() {
    constexpr int betweenRounds = 40;
    while (!isStopped_) {
        (void)rules_.ask({});  // judged there
        for (const std::string& id : ids_) {
            const HTTPAnswer answer = rules_.ask({Question::Kind::frame, id});
            const auto label = answer.header("X-Velmora-Frame");
            if (answer.isWhole && label && !order_.takes(id, *label)) {
                tally_.wrong("a label that does not follow the one before: " + *label);
            }
        }
        (void)::poll(nullptr, 0, betweenRounds);  // a signal may cut it short
    }
}

}  // namespace velmora
