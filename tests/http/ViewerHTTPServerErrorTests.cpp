#include "core/http/ViewerHTTPServerError.h"

#include <gtest/gtest.h>

#include "core/http/ViewerHTTPStartFailure.h"

namespace velmora {
namespace {

TEST(ViewerHTTPServerError, AFailedStartTellsTheReasonAsItIs) {
    EXPECT_EQ(ViewerHTTPServerError::startupFailed("already started").errorDescription(),
              "Viewer Host could not start: already started");
    EXPECT_EQ(ViewerHTTPServerError::startupFailed(" \n").errorDescription(),
              "Viewer Host could not start:  \n");
    EXPECT_EQ(ViewerHTTPServerError::startupFailed("").errorDescription(),
              "Viewer Host could not start: ");
}

TEST(ViewerHTTPServerError, TheOtherCasesHaveAFixedText) {
    EXPECT_EQ(ViewerHTTPServerError::invalidPort().errorDescription(),
              "Invalid Viewer Host TCP port.");
    EXPECT_EQ(ViewerHTTPServerError::stoppedBeforeReady().errorDescription(),
              "Viewer Host stopped before its listener became ready.");
}

TEST(ViewerHTTPServerError, ErrorsAreEqualWhenCaseAndReasonAre) {
    EXPECT_EQ(ViewerHTTPServerError::startupFailed("a"), ViewerHTTPServerError::startupFailed("a"));
    EXPECT_NE(ViewerHTTPServerError::startupFailed("a"), ViewerHTTPServerError::startupFailed("b"));
    EXPECT_NE(ViewerHTTPServerError::startupFailed(""), ViewerHTTPServerError::invalidPort());
    EXPECT_NE(ViewerHTTPServerError::invalidPort(), ViewerHTTPServerError::stoppedBeforeReady());
}

TEST(ViewerHTTPStartFailure, APlatformErrorIsToldUnchanged) {
    const ViewerHTTPStartFailure failure(ViewerPlatformError{"Address already in use"});
    EXPECT_EQ(failure.errorDescription(), "Address already in use");
}

TEST(ViewerHTTPStartFailure, AnErrorOfTheServerIsToldInItsWords) {
    const ViewerHTTPStartFailure failure(ViewerHTTPServerError::invalidPort());
    EXPECT_EQ(failure.errorDescription(), "Invalid Viewer Host TCP port.");
}

}  // namespace
}  // namespace velmora
