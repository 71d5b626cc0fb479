#pragma once

#include <memory>
#include <vector>

#include "tests/simulation/SimulationRule.h"

namespace velmora {

using SimulationRuleList = std::vector<std::unique_ptr<SimulationRule>>;

template <typename Rule>
void addRule(SimulationRuleList& rules, SimulationCourse& course) {
    rules.push_back(std::make_unique<Rule>(course));
}

/// Every rule of the simulation, for one course.
SimulationRuleList makeSimulationRules(SimulationCourse& course);

/// Rules of what is served when; of what is answered; of frames and their labels; of captures; and
/// of the host's beginning and end.
void addServingRules(SimulationRuleList& rules, SimulationCourse& course);
void addAnswerRules(SimulationRuleList& rules, SimulationCourse& course);
void addFrameRules(SimulationRuleList& rules, SimulationCourse& course);
void addCaptureRules(SimulationRuleList& rules, SimulationCourse& course);
void addLifeRules(SimulationRuleList& rules, SimulationCourse& course);

}  // namespace velmora
