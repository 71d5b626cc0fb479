#include "tests/app/mac/ApplicationTest.h"

#include <csignal>

namespace velmora {

void ApplicationTest::SetUp() {
    services_ = makePlatformServices();
}

void ApplicationTest::TearDown() {
    services_ = ViewerPlatformServices();
    for (const int signal : {SIGINT, SIGTERM, SIGPIPE}) {
        (void)std::signal(signal, SIG_DFL);  // fails for no signal that there is
    }
    MacTest::TearDown();
}

}  // namespace velmora
