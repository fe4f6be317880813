// Memory with an owner: a move-only array from the accounted allocator.
#pragma once

#include "core/accounting.h"

#include <cstdint>
#include <limits>
#include <type_traits>
#include <utility>

namespace vyr {

/// Owns an array of trivial elements and releases it on every path. Empty when the memory could not be had or
/// its byte size does not fit; an array of 0 elements is not empty.
template <typename T>
class Buffer {
    static_assert(std::is_trivially_copyable_v<T>);

public:
    Buffer() noexcept = default;
    /// `count` elements, uninitialised.
    Buffer(Accounting& memory, std::int64_t count) noexcept : Buffer(memory, count, mf_malloc) {}
    Buffer(Accounting& memory, std::int64_t count, T value) noexcept : Buffer(memory, count) { fill(value); }
    ~Buffer() {
        if (data_ != nullptr) mf_free(*memory_, data_);
    }
    Buffer(Buffer&& other) noexcept
        : memory_(other.memory_),
          data_(std::exchange(other.data_, nullptr)),
          count_(std::exchange(other.count_, 0)) {}
    Buffer& operator=(Buffer&& other) noexcept {
        std::swap(memory_, other.memory_);
        std::swap(data_, other.data_);
        std::swap(count_, other.count_);
        return *this;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    /// `count` zeroed elements; a large array is not touched.
    static Buffer zeroed(Accounting& memory, std::int64_t count) noexcept {
        return Buffer(memory, count, mf_calloc);
    }

    /// False when the memory could not be had.
    explicit operator bool() const noexcept { return data_ != nullptr; }
    T* get() noexcept { return data_; }
    const T* get() const noexcept { return data_; }
    T& operator[](std::int64_t i) noexcept { return data_[i]; }
    const T& operator[](std::int64_t i) const noexcept { return data_[i]; }
    std::int64_t count() const noexcept { return count_; }

    void fill(T value) noexcept {
        for (std::int64_t i = 0; i < count_; ++i) data_[i] = value;
    }
    void reset() noexcept { Buffer released(std::move(*this)); }

private:
    Buffer(Accounting& memory, std::int64_t count, void* (*allocate)(Accounting&, std::size_t)) noexcept
        : memory_(&memory) {
        constexpr std::uint64_t MOST = std::numeric_limits<std::size_t>::max() / 2 / sizeof(T);
        if (count < 0 || static_cast<std::uint64_t>(count) > MOST) return;
        const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
        data_ = static_cast<T*>(allocate(memory, bytes == 0 ? sizeof(T) : bytes));
        if (data_ != nullptr) count_ = count;
    }

    Accounting* memory_ = nullptr;
    T* data_ = nullptr;
    std::int64_t count_ = 0;
};

/// Makes sure of `count` elements, whatever they hold. False when the memory could not be had; then `work` is
/// empty.
template <typename T>
[[nodiscard]] bool make_room(Buffer<T>& work, Accounting& memory, std::int64_t count) noexcept {
    if (work && work.count() >= count) return true;
    work.reset();
    work = Buffer<T>(memory, count);
    return static_cast<bool>(work);
}

} // namespace vyr
