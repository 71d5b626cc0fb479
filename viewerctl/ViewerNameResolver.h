#pragma once

#include <boost/asio/io_context.hpp>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "viewerctl/ViewerAnswerCheck.h"
#include "viewerctl/ViewerEvent.h"
#include "viewerctl/ViewerTask.h"

namespace velmora {

/// Numeric addresses of a name, by preference.
using ViewerAddresses = std::vector<std::string>;

/// Looks names up, as many at once as `mostAtOnce`. The system's look-up cannot be interrupted:
/// each has a thread that nobody waits for, so that none delays the program's end. On the loop's
/// thread.
class ViewerNameResolver final {
  public:
    static constexpr std::size_t mostAtOnce = 32;

    explicit ViewerNameResolver(boost::asio::io_context& loop);
    ~ViewerNameResolver();
    ViewerNameResolver(const ViewerNameResolver&) = delete;
    ViewerNameResolver& operator=(const ViewerNameResolver&) = delete;

    /// The addresses of `name`, or why there are none by `deadline`.
    ViewerTask<ViewerOutcome<ViewerAddresses>> lookUp(std::string name,
                                                      ViewerEvent::TimePoint deadline);
    /// Ends every wait.
    void stop();

    /// What a look-up of the system's has come to, by its result (getaddrinfo(3)).
    static ViewerFailure failureOf(int result);

  private:
    struct Question;
    struct Desk;

    static void serve(const std::shared_ptr<Desk>& desk);
    void answer(std::uint64_t number, ViewerOutcome<ViewerAddresses> outcome);

    boost::asio::io_context& loop_;
    std::map<std::uint64_t, std::shared_ptr<Question>> questions_;
    std::uint64_t lastNumber_ = 0;
    /// Shared with the threads, which may outlive the resolver.
    std::shared_ptr<Desk> desk_;
};

}  // namespace velmora
