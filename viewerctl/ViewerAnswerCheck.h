#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "core/protocol/ViewerHostDisplayListing.h"
#include "core/protocol/ViewerHostFrame.h"
#include "viewerctl/ViewerFailure.h"

namespace velmora {

/// What was asked for, or why it is not there. A plain value; any thread.
template <typename Value>
class ViewerOutcome final {
  public:
    // NOLINTNEXTLINE(google-explicit-constructor): a value is an outcome.
    ViewerOutcome(Value value) : value_(std::move(value)) {}
    // NOLINTNEXTLINE(google-explicit-constructor): a failure is an outcome.
    ViewerOutcome(ViewerFailure failure) : failure_(failure) {}

    explicit operator bool() const { return value_.has_value(); }
    /// Only where there is one.
    const Value& operator*() const { return *value_; }
    const Value* operator->() const { return &*value_; }
    /// Only where there is no value.
    ViewerFailure failure() const { return failure_; }

  private:
    std::optional<Value> value_;
    ViewerFailure failure_ = ViewerFailure::interrupted;
};

/// Whether the bytes of an answer are one of the protocol's. Pure; any thread.
namespace ViewerAnswerCheck {

/// The longest body of an answer, in bytes.
inline constexpr std::size_t longestBody = 2'097'152;

ViewerOutcome<ViewerHostDisplayListing> listing(std::string_view head, std::string_view body);
/// A frame's picture is one that is safe to decode.
ViewerOutcome<ViewerHostFrame> frame(std::string_view head, std::string_view body);

}  // namespace ViewerAnswerCheck

}  // namespace velmora
