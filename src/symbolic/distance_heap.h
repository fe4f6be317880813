// A binary heap of rows by distance, in which a distance may fall.
#pragma once

#include "core/buffer.h"

#include <cstdint>
#include <utility>

namespace vyr {

/// Rows 0 .. n-1, the nearest one on top. Allocates when it is made and never again.
class DistanceHeap {
public:
    DistanceHeap(Accounting& memory, std::int32_t n) noexcept
        : row_(memory, n), place_(memory, n, ABSENT), distance_(memory, n) {}

    /// False when the memory could not be had.
    explicit operator bool() const noexcept { return row_ && place_ && distance_; }
    bool empty() const noexcept { return count_ == 0; }
    /// Distance of the row on top.
    double least() const noexcept { return distance_[row_[0]]; }

    /// Puts a row in, or up when it is in already with a larger distance.
    void put(std::int32_t row, double distance) noexcept {
        if (place_[row] == ABSENT) place_[row] = count_++;
        distance_[row] = distance;
        rise(row, place_[row]);
    }
    std::int32_t take_least() noexcept {
        const std::int32_t top = row_[0];
        take(top);
        return top;
    }
    /// Takes a row out, if it is in.
    void take(std::int32_t row) noexcept {
        const std::int32_t place = std::exchange(place_[row], ABSENT);
        if (place == ABSENT) return;
        const std::int32_t last = row_[--count_];
        if (last == row) return;
        rise(last, place);
        sink(last, place_[last]);
    }
    void clear() noexcept {
        while (count_ > 0) place_[row_[--count_]] = ABSENT;
    }

private:
    static constexpr std::int32_t ABSENT = -1;

    void set(std::int32_t row, std::int32_t place) noexcept {
        row_[place] = row;
        place_[row] = place;
    }
    void rise(std::int32_t row, std::int32_t place) noexcept {
        while (place > 0) {
            const std::int32_t above = (place - 1) / 2;
            if (distance_[row_[above]] <= distance_[row]) break;
            set(row_[above], place);
            place = above;
        }
        set(row, place);
    }
    void sink(std::int32_t row, std::int32_t place) noexcept {
        for (;;) {
            std::int32_t below = 2 * place + 1;
            if (below >= count_) break;
            if (below + 1 < count_ && distance_[row_[below + 1]] < distance_[row_[below]]) ++below;
            if (distance_[row_[below]] >= distance_[row]) break;
            set(row_[below], place);
            place = below;
        }
        set(row, place);
    }

    Buffer<std::int32_t> row_;   ///< by place, the first count_
    Buffer<std::int32_t> place_; ///< by row
    Buffer<double> distance_;    ///< by row, of those in the heap
    std::int32_t count_ = 0;
};

} // namespace vyr
