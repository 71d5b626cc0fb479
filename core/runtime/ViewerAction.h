#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "core/runtime/ViewerCheck.h"

namespace velmora {

/// A function that is given away to be called later: moved, never copied, and kept in place, so
/// that no memory is taken for it. It holds at most 40 bytes, such as a weak pointer and a UUID;
/// what is larger does not compile, and goes into a `std::function` first. Any thread, one at a
/// time.
class ViewerAction final {
  public:
    /// Nothing, which is not called.
    ViewerAction() = default;
    template <typename Function>
        requires std::invocable<Function&>
    // NOLINTNEXTLINE(google-explicit-constructor): a function is written where an action is taken.
    ViewerAction(Function function) {
        static_assert(sizeof(Kept<Function>) <= sizeof place_);
        static_assert(alignof(Kept<Function>) <= alignof(void*));
        static_assert(std::is_nothrow_move_constructible_v<Function>);
        kept_ = ::new (place_.data()) Kept<Function>(std::move(function));
    }
    ViewerAction(ViewerAction&& other) noexcept { take(other); }
    ViewerAction& operator=(ViewerAction&& other) noexcept {
        if (this != &other) {
            clear();
            take(other);
        }
        return *this;
    }
    ~ViewerAction() { clear(); }

    explicit operator bool() const { return kept_ != nullptr; }
    void operator()() const {
        viewerCheck(kept_ != nullptr, "only an action that is there is called");
        kept_->call();
    }

  private:
    class Any {
      public:
        virtual ~Any() = default;
        virtual void call() = 0;
        virtual Any* moveTo(void* place) noexcept = 0;
    };

    template <typename Function>
    class Kept final : public Any {
      public:
        explicit Kept(Function&& function) noexcept : function_(std::move(function)) {}
        void call() override { function_(); }
        Any* moveTo(void* place) noexcept override {
            return ::new (place) Kept(std::move(function_));
        }

      private:
        Function function_;
    };

    void take(ViewerAction& other) noexcept {
        if (other.kept_ != nullptr) {
            kept_ = other.kept_->moveTo(place_.data());
            other.clear();
        }
    }
    void clear() noexcept {
        if (kept_ != nullptr) {
            std::exchange(kept_, nullptr)->~Any();
        }
    }

    static constexpr std::size_t mostBytes = 40;
    Any* kept_ = nullptr;
    /// What `kept_` is, behind the pointer to its table of functions.
    alignas(void*) std::array<std::byte, sizeof(void*) + mostBytes> place_;
};

}  // namespace velmora
