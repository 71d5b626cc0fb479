#pragma once

#include <cstddef>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "core/runtime/ViewerLock.h"

namespace velmora {

/// Memory for objects of one size that come and go: what one leaves the next one takes. Shared by
/// whoever makes them and by each of them; any thread.
class ViewerRecycler final {
  public:
    /// Keeps at most `most` blocks that are not in use.
    explicit ViewerRecycler(std::size_t most) { unused_.reserve(most); }
    ViewerRecycler(const ViewerRecycler&) = delete;
    ViewerRecycler& operator=(const ViewerRecycler&) = delete;
    ~ViewerRecycler() {
        for (void* block : unused_) {
            ::operator delete(block);
        }
    }

    void* take(std::size_t bytes) {
        {
            const ViewerLockGuard guard(lock_);
            if (bytes == blockBytes_ && !unused_.empty()) {
                void* const block = unused_.back();
                unused_.pop_back();
                return block;
            }
        }
        return ::operator new(bytes);
    }
    void giveBack(void* block, std::size_t bytes) {
        {
            const ViewerLockGuard guard(lock_);
            if (unused_.empty()) {
                blockBytes_ = bytes;
            }
            if (bytes == blockBytes_ && unused_.size() < unused_.capacity()) {
                unused_.push_back(block);
                return;
            }
        }
        ::operator delete(block);
    }

  private:
    ViewerLock lock_;
    std::size_t blockBytes_ VIEWER_GUARDED_BY(lock_) = 0;
    std::vector<void*> unused_ VIEWER_GUARDED_BY(lock_);
};

/// Lets `std::allocate_shared` make objects in a recycler's memory.
template <typename T>
class ViewerRecyclingAllocator final {
  public:
    using value_type = T;

    explicit ViewerRecyclingAllocator(std::shared_ptr<ViewerRecycler> recycler)
        : recycler_(std::move(recycler)) {}
    template <typename U>
    explicit ViewerRecyclingAllocator(const ViewerRecyclingAllocator<U>& other)
        : recycler_(other.recycler()) {}

    T* allocate(std::size_t count) { return static_cast<T*>(recycler_->take(count * sizeof(T))); }
    void deallocate(T* block, std::size_t count) { recycler_->giveBack(block, count * sizeof(T)); }

    const std::shared_ptr<ViewerRecycler>& recycler() const { return recycler_; }
    template <typename U>
    friend bool operator==(const ViewerRecyclingAllocator& a,
                           const ViewerRecyclingAllocator<U>& b) {
        return a.recycler() == b.recycler();
    }

  private:
    std::shared_ptr<ViewerRecycler> recycler_;
};

}  // namespace velmora
