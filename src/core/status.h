// The one convention of failure: every function that can fail returns a Status.
#pragma once

#include <cstdint>

namespace vyr {

/// 0 or a negative code. status.cpp holds the one table of codes, names and texts.
enum class [[nodiscard]] Status : std::int32_t{OK = 0,
                                               NULL_MATRIX = -1,
                                               EMPTY_MATRIX = -2,
                                               EMPTY_COLUMN = -3,
                                               DUPLICATE = -4,
                                               FACTOR_FILE = -5,
                                               STRUCTURE = -6,
                                               NOT_SQUARE = -7,
                                               NAN_VALUE = -8,
                                               HANDLE = -9,
                                               FACTOR_STORAGE = -10,
                                               TYPE = -11,
                                               UPPER_ENTRY = -13,
                                               SINGULAR = -20,
                                               MEMORY = -29,
                                               NOT_SPD = -30,
                                               ILL_CONDITIONED = -31,
                                               BUFFER = -33,
                                               NOTHING_TO_FLUSH = -34,
                                               SMALL_PIVOT = -35,
                                               GROWTH = -36,
                                               CANCELLED = -40,
                                               ORDERING = -41,
                                               NOT_SYMMETRIC = -45,
                                               INACCURATE = -46,
                                               BLAS = -48,
                                               PLATFORM = -500,
                                               EMPTY_FILE = -1000,
                                               MAPPING = -1210};

constexpr std::int32_t code(Status status) noexcept {
    return static_cast<std::int32_t>(status);
}

/// What a status means, one sentence without a full stop. Never null.
[[nodiscard]] const char* status_text(Status status) noexcept;

} // namespace vyr
