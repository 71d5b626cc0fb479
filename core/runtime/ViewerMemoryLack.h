#pragma once

#include <exception>
#include <new>

namespace velmora {

/// There is no memory for something that is as large as a stranger says: a request, a picture. The
/// one exception that crosses our functions.
class ViewerMemoryLack final : public std::bad_alloc {};

/// From now on an allocation that fails ends the process with its reason, on whatever thread and in
/// whosever code it is: half done, nothing could be relied on. So does one whose exception nobody
/// catches. Called once, at the start.
void endWhenMemoryIsLacking();

/// Ends the process likewise if the exception, which may be none, is a lack of memory.
void endIfMemoryLacked(const std::exception_ptr& exception);

/// While one lives, an allocation of its thread that fails throws a ViewerMemoryLack instead.
/// Around nothing but what may be left half done.
class ViewerMemoryAttempt final {
  public:
    ViewerMemoryAttempt();
    ~ViewerMemoryAttempt();
    ViewerMemoryAttempt(const ViewerMemoryAttempt&) = delete;
    ViewerMemoryAttempt& operator=(const ViewerMemoryAttempt&) = delete;
};

}  // namespace velmora
