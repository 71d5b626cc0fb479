#pragma once

#include <string_view>

#include "viewerctl/ViewerLanguage.h"

namespace velmora {

/// Why a host did not give what it was asked for.
enum class ViewerFailure {
    noSuchName,
    /// Whoever knows names did not answer.
    nameServerSilent,
    refused,
    noRoute,
    timedOut,
    /// The connection ended before the answer was whole.
    brokeOff,
    /// What answers there does not speak the protocol.
    notAViewerHost,
    otherVersion,
    /// What came as a picture is none, or too large to be shown.
    badPicture,
    noSuchDisplay,
    /// The host has no picture of the display at the moment.
    noPicture,
    /// The program is ending.
    interrupted
};

/// One word for programs, such as "timed-out".
std::string_view wordOf(ViewerFailure failure);
/// A few words for people, such as "timed out".
std::string_view textOf(ViewerFailure failure, ViewerLanguage language);

}  // namespace velmora
