#include "tests/app/mac/ApplicationTest.h"

#include <csignal>

namespace velmora {

void ApplicationTest::SetUp() {
    MacTest::SetUp();
    shell_ = makeApplicationShell();
}

void ApplicationTest::TearDown() {
    shell_ = nullptr;
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
        (void)std::signal(signal, SIG_DFL);  // fails for no signal that there is
    }
    MacTest::TearDown();
}

}  // namespace velmora
