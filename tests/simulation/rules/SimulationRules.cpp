#include "tests/simulation/rules/SimulationRules.h"

namespace velmora {

SimulationRuleList makeSimulationRules(SimulationCourse& course) {
    SimulationRuleList rules;
    addServingRules(rules, course);
    addAnswerRules(rules, course);
    addFrameRules(rules, course);
    addCaptureRules(rules, course);
    addLifeRules(rules, course);
    return rules;
}

}  // namespace velmora
