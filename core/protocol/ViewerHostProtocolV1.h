#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace velmora {

/// Every constant of version 1 of the viewer-host protocol.
namespace ViewerHostProtocolV1 {

inline constexpr std::string_view protocolIdentifier = "Velmora.Windows.ViewerHost";
inline constexpr std::int64_t version = 1;
inline constexpr std::uint16_t defaultPort = 9090;
/// The most frames a second that are captured of one display.
inline constexpr std::int32_t captureFramesPerSecond = 25;
/// The longest JPEG that is published or sent, in bytes.
inline constexpr std::size_t maxFrameBytes = 2'097'152;
/// The longest request head, its terminator included, in bytes.
inline constexpr std::size_t maxRequestHeaderBytes = 8'192;
/// Connections served at once; further ones wait.
inline constexpr std::size_t maxConcurrentConnections = 16;
/// Displays captured at once.
inline constexpr std::int64_t sessionLimit = 4;
/// From a connection's start to the end of its response.
inline constexpr std::chrono::seconds requestTimeout{5};
/// From a display's last finished request to the end of its capture.
inline constexpr std::chrono::seconds idleTimeout{5};
inline constexpr std::string_view displaysPath = "/viewer/v1/displays";
inline constexpr std::string_view framePathPrefix = "/viewer/v1/frame?id=";

}  // namespace ViewerHostProtocolV1

}  // namespace velmora
