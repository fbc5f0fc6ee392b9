// SPDX-License-Identifier: MIT
// The stack of the walks that go down both sides of a node: a few levels in
// place, more from the C heap. A tree built by the plain operations, or linked
// by hand, can be as deep as it has nodes, so its depth must not become the
// depth of the thread's own stack.
#pragma once

#include <cstdlib>
#include <cstring>
#include <type_traits>

namespace vesk::rtbt {

template <class T>
class WalkStack {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    WalkStack() = default;
    ~WalkStack() {
        if (items_ != local_)
            std::free(items_);
    }
    WalkStack(const WalkStack &) = delete;
    WalkStack &operator=(const WalkStack &) = delete;

    // false when no memory is left for one more entry.
    [[nodiscard]] bool push(const T &item) {
        if (size_ == capacity_ && !grow())
            return false;
        items_[size_++] = item;
        return true;
    }
    bool empty() const { return size_ == 0; }
    T &top() { return items_[size_ - 1]; }
    T pop() { return items_[--size_]; }

private:
    bool grow() {
        const size_t capacity = capacity_ * 2;
        auto *items = static_cast<T *>(std::malloc(capacity * sizeof(T)));
        if (items == nullptr)
            return false;
        std::memcpy(static_cast<void *>(items), items_, size_ * sizeof(T));
        if (items_ != local_)
            std::free(items_);
        items_ = items;
        capacity_ = capacity;
        return true;
    }

    static constexpr size_t kInPlace = 48;
    T local_[kInPlace];
    T *items_ = local_;
    size_t size_ = 0;
    size_t capacity_ = kInPlace;
};

}  // namespace vesk::rtbt
