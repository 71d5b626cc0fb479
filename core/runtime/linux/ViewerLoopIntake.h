#pragma once

#include <boost/asio/execution_context.hpp>
#include <cstdint>

#include "core/runtime/ViewerExecutor.h"

namespace velmora {

/// Numbers the batches in which a loop takes its clients' requests in, for those whose answer must
/// not be older than the question: what they looked up in this batch is still good, because no
/// request has come in since. One for each loop, found through its executors; on its thread only.
class ViewerLoopIntake final : public boost::asio::execution_context::service {
  public:
    static boost::asio::execution_context::id id;
    /// While nobody tells when requests come in: nothing that was looked up is good.
    static constexpr std::uint64_t noBatch = 0;

    /// That of the loop behind `executor`, as long as that lives.
    static ViewerLoopIntake& of(const ViewerExecutor& executor);

    explicit ViewerLoopIntake(boost::asio::execution_context& loop);

    /// A request, or a part of one, has come in.
    void add() { batch_ = ++lastBatch_; }
    /// From here on requests may come in untold.
    void close() { batch_ = noBatch; }
    std::uint64_t batch() const { return batch_; }

  private:
    void shutdown() override {}

    std::uint64_t lastBatch_ = noBatch;
    std::uint64_t batch_ = noBatch;
};

}  // namespace velmora
