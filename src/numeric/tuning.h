// Tuning constants of the numeric phase and the solves, each with unit, reason and measurement.
#pragma once

#include <cstdint>

namespace vyr::tuning {

/// Pivots up to which a front is eliminated, and a triangular block solved, by our own vector loops.
inline constexpr std::int32_t BASE_PIVOTS = 32;

/// Update rows up to which a front of at most BASE_PIVOTS pivots forms its update by our own loops.
inline constexpr std::int32_t SMALL_UPDATE_ROWS = 96;

/// Columns of an update formed and added at a time.
inline constexpr std::int32_t STRIP_COLUMNS = 256;

/// Columns of a coupling block solved at a time when the front is shared: finer than the update's strips,
/// which cost more each.
inline constexpr std::int32_t SOLVE_STRIP_COLUMNS = 96;

/// Pivots from which the factorization of a pivot block is itself shared.
inline constexpr std::int32_t SHARED_PIVOTS = 256;

/// Operations from which the strips of a front are offered to other threads.
inline constexpr double SHARED_FRONT_FLOPS = 4e6;

/// Operations from which a single matrix product of the L D L^T kernel runs on all threads: about 80
/// microseconds of work, against a few for starting the threads, and milliseconds when another process holds
/// a core.
inline constexpr double THREADED_PRODUCT_FLOPS = 4e6;

/// Bytes of factor storage a thread zeroes or touches at a time.
inline constexpr std::int64_t TOUCH_BYTES = std::int64_t{8} << 20;

/// Right-hand sides up to which a block solve streams through the factor by our own loops.
inline constexpr std::int32_t NARROW_RHS = 32;

} // namespace vyr::tuning
