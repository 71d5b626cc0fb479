#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/http/ViewerHTTPServer.h"
#include "core/runtime/ViewerTask.h"
#include "tests/schedules/ScheduledProvider.h"
#include "tests/schedules/SmallWorld.h"
#include "tests/support/http/ScriptedListener.h"
#include "tests/support/http/ScriptedPeer.h"
#include "tests/support/http/ScriptedTransport.h"

namespace velmora {

/// What is in a serving world.
struct ServingPlan final {
    enum class Client {
        /// Has asked when it comes.
        asks,
        /// Asks when it likes.
        asksLate,
        /// Never asks.
        isSilent,
        /// Has half asked when it comes, and goes when it likes.
        leaves,
        /// Has asked when it comes, and breaks off when it likes.
        breaksOff,
    };
    std::vector<Client> clients;
    std::size_t connectionLimit = 2;
    /// The listener becomes ready, and fails, when it likes; else it is ready at once.
    bool isReadyLate = false;
    bool failsLate = false;
    /// Clients come when they like, else all at once.
    bool comesLate = false;
    /// The provider answers when it likes.
    bool answersLate = false;
    /// Somebody stops the server, when he likes.
    bool isStopped = false;
};

/// The server with its handlers and router on a network that is played.
class ServingWorld final : public SmallWorld {
  public:
    ServingWorld(ScheduledWorld& world, ServingPlan plan);

    void begin() override;
    void end() override;
    std::string outcome() const override;

  private:
    struct ConnectionNotes final {
        std::shared_ptr<ScriptedPeer> peer;
        std::optional<ViewerContinuousClock::Instant> started;
        std::size_t arrived = 0;
        bool isDropped = false;
        bool hasLeft = false;
        std::size_t messages = 0;
        /// When its end was asked for first.
        std::optional<ViewerContinuousClock::Instant> cancelled;
    };

    static ViewerTask<void> run(ServingWorld* self);
    static ViewerTask<void> stop(ServingWorld* self);
    void listen();
    void prepare(std::size_t number);
    void arrive(std::size_t number);
    void started(std::size_t number);
    void dropped(std::size_t number);
    void checkPlaces();
    void cancelled(std::size_t number);
    void checkEnd(const ConnectionNotes& connection);

    const ServingPlan plan_;
    std::shared_ptr<ScheduledProvider> provider_;
    std::shared_ptr<ScriptedTransport> transport_;
    std::shared_ptr<ViewerHTTPServer> server_;
    std::vector<ConnectionNotes> connections_;
    std::size_t arrivals_ = 0;
    std::size_t lastStarted_ = 0;
    std::size_t served_ = 0;
    /// The step that began to serve one too many.
    std::optional<std::size_t> overfullAt_;
    std::size_t startAnswers_ = 0;
    std::string startAnswer_ = "none";
    bool isStopping_ = false;
    std::size_t stopAnswers_ = 0;
};

}  // namespace velmora
