#pragma once

#include <string>

namespace velmora {

/// Why the HTTP server could not be started: an enumeration, one of whose cases carries a reason.
/// A plain value; any thread.
class ViewerHTTPServerError final {
  public:
    /// The listener could not be set up or failed; `reason` is for the user.
    static ViewerHTTPServerError startupFailed(std::string reason);
    /// There is no usable port.
    static ViewerHTTPServerError invalidPort();
    /// The server was stopped, or its listener cancelled, before the listener became ready.
    static ViewerHTTPServerError stoppedBeforeReady();

    friend bool operator==(const ViewerHTTPServerError&, const ViewerHTTPServerError&) = default;

    /// For the user.
    std::string errorDescription() const;

  private:
    enum class Case { startupFailed, invalidPort, stoppedBeforeReady };

    ViewerHTTPServerError(Case which, std::string reason);

    Case case_;
    /// Empty unless the case is `startupFailed`.
    std::string reason_;
};

}  // namespace velmora
