// Scratch memory with an owner: a move-only array from the accounted allocator.
#pragma once

#include "memory/accounted_alloc.h"

#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <utility>

namespace vyr {

/// Array of `count` trivial elements from mf_malloc, uninitialised; null when the memory cannot be had or
/// the byte size does not fit. A count of 0 gives a valid pointer. Release with mf_free.
template <typename T>
[[nodiscard]] T* mf_array(std::int64_t count) noexcept {
    static_assert(std::is_trivially_copyable_v<T>);
    if (count < 0 ||
        static_cast<std::uint64_t>(count) > std::numeric_limits<std::size_t>::max() / 2 / sizeof(T))
        return nullptr;
    const std::size_t bytes = static_cast<std::size_t>(count) * sizeof(T);
    return static_cast<T*>(mf_malloc(bytes == 0 ? sizeof(T) : bytes));
}

/// Owns one array of mf_array and releases it on every path.
template <typename T>
class Buffer {
public:
    Buffer() noexcept = default;
    explicit Buffer(std::int64_t count) noexcept : data_(mf_array<T>(count)), count_(data_ ? count : 0) {}
    Buffer(std::int64_t count, T value) noexcept : Buffer(count) { fill(value); }
    ~Buffer() { mf_free(data_); }
    Buffer(Buffer&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)), count_(std::exchange(other.count_, 0)) {}
    Buffer& operator=(Buffer&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(count_, other.count_);
        return *this;
    }
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

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
    /// Hands the array over to the caller, who releases it with mf_free.
    [[nodiscard]] T* release() noexcept {
        count_ = 0;
        return std::exchange(data_, nullptr);
    }
    void reset() noexcept { *this = Buffer(); }

private:
    T* data_ = nullptr;
    std::int64_t count_ = 0;
};

} // namespace vyr
