#include <array>
#include <boost/asio/post.hpp>
#include <chrono>
#include <random>

#include "core/runtime/ViewerLock.h"
#include "tests/schedules/SmallWorld.h"
#include "tests/schedules/WatchedMemory.h"

namespace velmora {

namespace {

constexpr std::size_t queueCount = 3;
constexpr std::size_t variableCount = 3;
constexpr int deepest = 2;
constexpr std::size_t mostFunctions = 7;

/// What a function does, decided before anything runs.
struct Act final {
    enum class Kind { assign, mix, append, post, sleep, outside, letGo, lock, withdraw };
    Kind kind = Kind::assign;
    std::size_t place = 0;
    std::size_t other = 0;
    /// The function that a post, a timer or an outside event runs.
    std::size_t next = 0;
};

using Function = std::vector<Act>;

struct Program final {
    std::vector<Function> functions;
    /// The function that each queue begins with.
    std::array<std::size_t, queueCount> first{};
};

class ProgramMaker final {
  public:
    explicit ProgramMaker(std::uint64_t seed) : random_(seed) {}

    Program make() {
        for (std::size_t& first : program_.first) {
            first = add(0);
        }
        return program_;
    }

  private:
    std::size_t choose(std::size_t bound) { return random_() % bound; }

    std::size_t add(int depth) {
        Function function;
        for (std::size_t count = choose(2) + 1; count > 0; --count) {
            Act act{static_cast<Act::Kind>(choose(9)), choose(variableCount), choose(variableCount),
                    0};
            const bool hasNext = act.kind == Act::Kind::post || act.kind == Act::Kind::sleep ||
                                 act.kind == Act::Kind::outside;
            if (hasNext && (depth == deepest || program_.functions.size() >= mostFunctions)) {
                act.kind = Act::Kind::mix;
            } else if (hasNext) {
                act.next = add(depth + 1);
            }
            function.push_back(act);
        }
        program_.functions.push_back(function);
        return program_.functions.size() - 1;
    }

    std::mt19937_64 random_;
    Program program_;
};

class RandomWorld final : public SmallWorld {
  public:
    RandomWorld(ScheduledWorld& world, Program program)
        : SmallWorld(world), program_(std::move(program)) {}

    void begin() override {
        for (std::size_t i = 0; i < queueCount; ++i) {
            queues_[i] = world().makeSerialExecutor("queue");
            shared_[i] = std::make_shared<int>(0);
            weak_[i] = shared_[i];
        }
        for (std::size_t i = 0; i < queueCount; ++i) {
            // Some objects have two owners.
            boost::asio::post(queues_[i], [this, i, owner = shared_[(i + 1) % queueCount]] {
                run(program_.first[i]);
            });
        }
    }
    void end() override {}
    std::string outcome() const override {
        std::string text = log_;
        for (const int value : values_) {
            text += " " + std::to_string(value);
        }
        return text + " at " + std::to_string(world().now().time_since_epoch().count());
    }

  private:
    void run(std::size_t function) {
        for (const Act& act : program_.functions[function]) {
            perform(act, function);
        }
    }

    void perform(const Act& act, std::size_t function) {
        const auto next = [this, following = act.next] { run(following); };
        int& value = values_[act.place];
        switch (act.kind) {
            case Act::Kind::assign:
                value = static_cast<int>(function);
                return;
            case Act::Kind::mix:
                value = 3 * value + values_[act.other] + 1;
                return;
            case Act::Kind::append: {
                const ViewerLockGuard guard(lock_);
                log_ += static_cast<char>('a' + function);
                length_ = log_.size();
                return;
            }
            case Act::Kind::post:
                boost::asio::post(queues_[act.place], next);
                return;
            case Act::Kind::sleep:
                timer_ = world().schedule(world().now() + std::chrono::seconds(act.other + 1),
                                          queues_[act.place], next);
                return;
            case Act::Kind::outside:
                world().mayHappen("event", next);
                return;
            case Act::Kind::letGo:
                shared_[act.place].reset();
                return;
            case Act::Kind::lock: {
                const auto owner = weak_[act.place].lock();
                value += owner ? 7 : 1;
                return;
            }
            case Act::Kind::withdraw:
                world().withdraw(timer_);
        }
    }

    const Program program_;
    std::array<ViewerExecutor, queueCount> queues_;
    std::array<std::shared_ptr<int>, queueCount> shared_;
    std::array<std::weak_ptr<int>, queueCount> weak_;
    std::array<int, variableCount> values_{};
    ViewerContinuousClock::TimerId timer_;
    ViewerLock lock_;
    std::string log_;
    /// The library that holds the text's own code is not watched.
    std::size_t length_ = 0;
};

}  // namespace

SmallWorldKind randomWorld(std::uint64_t seed) {
    return {"random",
            "random functions",
            true,
            true,
            [program = ProgramMaker(seed).make()](ScheduledWorld& world) {
                return std::unique_ptr<SmallWorld>(std::make_unique<RandomWorld>(world, program));
            },
            {}};
}

}  // namespace velmora
