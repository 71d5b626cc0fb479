#include "viewerctl/ViewerNameResolver.h"

#include <netdb.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <boost/asio/post.hpp>
#include <deque>
#include <mutex>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

namespace velmora {

/// One look-up, as the loop sees it.
struct ViewerNameResolver::Question final {
    explicit Question(boost::asio::io_context& loop) : answered(loop) {}

    ViewerEvent answered;
    std::optional<ViewerOutcome<ViewerAddresses>> outcome;
};

/// What the loop and the threads share.
struct ViewerNameResolver::Desk final {
    struct Slip final {
        std::uint64_t number;
        std::string name;
    };

    std::mutex lock;
    // The lock guards all of these.
    std::deque<Slip> waiting;
    std::size_t threads = 0;
    /// Nothing once the resolver is gone.
    ViewerNameResolver* resolver = nullptr;
};

namespace {

/// Blocks for as long as the system likes.
ViewerOutcome<ViewerAddresses> systemLookUp(const std::string& name) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_ADDRCONFIG;
    addrinfo* found = nullptr;
    const int result = ::getaddrinfo(name.c_str(), nullptr, &hints, &found);
    if (result != 0) {
        return ViewerNameResolver::failureOf(result);
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(found, &::freeaddrinfo);
    ViewerAddresses addresses;
    for (const addrinfo* each = found; each != nullptr; each = each->ai_next) {
        std::array<char, NI_MAXHOST> text{};
        const int isUnnamed = ::getnameinfo(each->ai_addr, each->ai_addrlen, text.data(),
                                            text.size(), nullptr, 0, NI_NUMERICHOST);
        // libcurl takes no address with an interface behind it.
        const bool isPlain = std::string_view(text.data()).find('%') == std::string_view::npos;
        if (isUnnamed == 0 && isPlain) {
            addresses.emplace_back(text.data());
        }
    }
    if (addresses.empty()) {
        return ViewerFailure::noRoute;
    }
    return addresses;
}

}  // namespace

ViewerNameResolver::ViewerNameResolver(boost::asio::io_context& loop)
    : loop_(loop), desk_(std::make_shared<Desk>()) {
    desk_->resolver = this;
}

ViewerNameResolver::~ViewerNameResolver() {
    const std::lock_guard guard(desk_->lock);
    desk_->resolver = nullptr;
    desk_->waiting.clear();
}

ViewerFailure ViewerNameResolver::failureOf(int result) {
    return result == EAI_AGAIN || result == EAI_SYSTEM ? ViewerFailure::nameServerSilent
                                                       : ViewerFailure::noSuchName;
}

ViewerTask<ViewerOutcome<ViewerAddresses>> ViewerNameResolver::lookUp(
    std::string name, ViewerEvent::TimePoint deadline) {
    const std::uint64_t number = ++lastNumber_;
    const auto question = std::make_shared<Question>(loop_);
    questions_.emplace(number, question);
    bool needsThread = false;
    {
        const std::lock_guard guard(desk_->lock);
        desk_->waiting.push_back({number, std::move(name)});
        needsThread = desk_->threads < mostAtOnce;
        desk_->threads += needsThread ? 1 : 0;
    }
    if (needsThread) {
        try {
            std::thread(&ViewerNameResolver::serve, desk_).detach();
        } catch (const std::system_error&) {
            // The system has none left: the name waits for another thread, or for its deadline.
            const std::lock_guard guard(desk_->lock);
            --desk_->threads;
        }
    }
    (void)co_await question->answered.wait(deadline);  // the outcome tells
    questions_.erase(number);
    if (!question->outcome) {
        const std::lock_guard guard(desk_->lock);
        std::erase_if(desk_->waiting,
                      [&](const Desk::Slip& slip) { return slip.number == number; });
    }
    co_return question->outcome.value_or(ViewerFailure::nameServerSilent);
}

void ViewerNameResolver::stop() {
    for (const auto& [number, question] : questions_) {
        question->outcome = ViewerFailure::interrupted;
        question->answered.set();
    }
}

void ViewerNameResolver::serve(const std::shared_ptr<Desk>& desk) {
    while (true) {
        Desk::Slip slip;
        {
            const std::lock_guard guard(desk->lock);
            if (desk->waiting.empty()) {
                --desk->threads;
                return;
            }
            slip = std::move(desk->waiting.front());
            desk->waiting.pop_front();
        }
        auto outcome = systemLookUp(slip.name);
        const std::lock_guard guard(desk->lock);
        if (ViewerNameResolver* const resolver = desk->resolver) {
            boost::asio::post(resolver->loop_,
                              [resolver, number = slip.number, outcome = std::move(outcome)] {
                                  resolver->answer(number, outcome);
                              });
        }
    }
}

void ViewerNameResolver::answer(std::uint64_t number, ViewerOutcome<ViewerAddresses> outcome) {
    const auto found = questions_.find(number);
    if (found != questions_.end() && !found->second->outcome) {
        found->second->outcome = std::move(outcome);
        found->second->answered.set();
    }
}

}  // namespace velmora
