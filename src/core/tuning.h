// Tuning constants, each with unit, reason and measurement.
//
// Unless one says otherwise, measured on two cores of an Intel Xeon (Emerald Rapids, AVX-512) with OpenBLAS
// 0.3.21, SkylakeX kernels; the matrices are those of docs/performance.md.
#pragma once

#include <cstdint>

namespace vyr::tuning {

/// Pivots up to which a pivot block is factored, and a triangular block solved with, by loops without matrix
/// products. On one thread of an AMD EPYC (Zen 4), of the time with 32: Cholesky of 33 to 64 pivots 0.8 to
/// 0.9, a solve with 64 pivots 0.92 and with 256 0.98.
inline constexpr std::int32_t BASE_PIVOTS = 64;

/// Doubles that one node more is worth beside its entries and row lists: half of them its records take, in
/// the analysis and the factor, the others stand for its time. AMD's order of p2d_1000 on one thread of an
/// AMD EPYC (Zen 5): 0.3 of the nodes with 1.1 of the entries, the whole process takes 0.97 of the memory;
/// analysis 0.87 of the time, factorization 0.9, solve 0.9. With 12: 0.92 of the factorization; with 50 as
/// with 24.
inline constexpr std::int32_t NODE_DOUBLES = 24;

/// Pivots and update rows up to which a front forms its update before it is added, because ancestors get a
/// few rows each, of which the kernel would make whole vectors: on one thread of an AMD EPYC (Zen 5) p3d_10
/// 0.7, p2d_300 0.7 and plate_60 0.97 of the time without.
inline constexpr std::int32_t FORMED_PIVOTS = 32;
inline constexpr std::int32_t FORMED_ROWS = 96;

/// Rows of a piece formed and added at a time by the blocked variant. p3d_80 on two threads: 256 rows 8.88 s,
/// 384 8.65 s; ela_30 1.11 s and 1.09 s; p3d_60 on one thread: 128 rows 3.29 s, 256 3.10 s, 512 3.11 s.
inline constexpr std::int32_t STRIP_COLUMNS = 384;

/// Depth and rows of the left operand that a product keeps in the second cache: 256 x 120 doubles, 240 KiB.
/// On one thread of an AMD EPYC (Zen 4, 1 MiB) 72 to 264 rows are the same within 1 % from a depth of 128 on,
/// 72 take 1.03 of the time at 64; a product of order 1,000 runs at 51.5, 53 and 53.5 GFLOP/s with a depth of
/// 128, 256 and 512. p3d_40 and ela_20 show neither: 0.96 to 1.03 of the time, as from run to run.
inline constexpr std::int32_t PRODUCT_DEPTH = 256;
inline constexpr std::int32_t PRODUCT_ROWS = 120;

/// Rows packed as one piece of work for a thread: a multiple of 24, the rows of the tallest tile. All packing
/// is 1.5 % of p3d_60.
inline constexpr std::int32_t PACKED_ROWS = 192;

/// Columns solved or reduced at a time when a front is shared, and how many strips each thread should find.
/// Wider ones pack the left operand of a matrix product less often, narrower ones keep all threads busy to
/// the end: with 256 the last strip of a front of 2,500 rows left one of two threads idle for a tenth. p3d_80
/// on two threads: 96 columns throughout 8.92 s, up to 384 8.85 s, up to 768 8.68 s (but 9.20 s against 9.13
/// s the first time).
inline constexpr std::int32_t LEAST_SHARED_COLUMNS = 96;
inline constexpr std::int32_t MOST_SHARED_COLUMNS = 384;
inline constexpr std::int32_t STRIPS_A_THREAD = 4;

/// Pivots from which the factorization of a pivot block is itself shared.
inline constexpr std::int32_t SHARED_PIVOTS = 256;

/// Operations from which the strips of a front are offered to other threads: about 60 microseconds of work,
/// far above the cost of a task. 1e6 is no faster (ela_30 on two threads: 1.15 s both).
inline constexpr double SHARED_FRONT_FLOPS = 4e6;

/// Operations of L L^T from which threads share it, some milliseconds of work.
inline constexpr double SHARED_OPERATIONS = 2e7;

/// The least number of parts of the whole that subtrees are, which one thread takes: one for so many
/// operations within these bounds. p3d_30 on one thread takes 1.1 of the time with 128 parts, 1.0 with 50;
/// p3d_60 on two threads takes 0.95 of the time, and 0.95 of the memory, with 512 instead of 128.
inline constexpr double SUBTREE_OPERATIONS = 1e8;
inline constexpr double LEAST_SUBTREES = 16;
inline constexpr double MOST_SUBTREES = 512;

/// Pivots that a node above the subtrees eliminates at a time, the depth of a product. With 128 small
/// matrices gain on 64 simulated cores (p3d_60 0.51 to 0.62) and nothing on one.
inline constexpr std::int32_t PANEL_PIVOTS = 256;

/// Subtrees, and panels, that are at work or wait for their turn, at most for each of several threads; and
/// the share of the factor's memory that either may take beyond one more than the threads.
inline constexpr double MOST_WAITING = 4;
inline constexpr double WAITING_SHARE = 1.0 / 16;

/// Bytes of factor storage a thread zeroes or touches at a time: enough chunks to balance.
inline constexpr std::int64_t TOUCH_BYTES = std::int64_t{8} << 20;

/// Bytes of a factor up to which the library interface does not ask the system whether it has them, which is
/// reading a dozen small files: p3d_10 (0.4 MB) takes 1.2 ms in all when it asks, 1.1 ms when it does not.
inline constexpr double SMALL_FACTOR_BYTES = 1 << 21;

/// Right-hand sides that a block solve takes through the factor at a time. Sixteen of them on ela_30 by our
/// own loops: 0.18 s against 0.24 s for dtrsm and dgemm, which copy the factor before they use it.
inline constexpr std::int32_t MOST_RHS_AT_ONCE = 32;

/// Entries of the full pattern from which the analysis behind the library interface is shared by threads, a
/// few milliseconds of work, and the number of subtrees that these find at least.
inline constexpr std::int32_t SHARED_ANALYSIS_ENTRIES = 200'000;
inline constexpr std::int32_t ANALYSIS_SUBTREES = 64;

// Solves. Measured on two cores of an AMD EPYC with AVX-512 loops, one and sixteen right-hand sides, ms; by
// BLAS calls on one thread, and by strips and loops of our own on two: p3d_40 26 and 53, 18 and 36; p3d_60
// 124 and 271, 88 and 215; p2d_1000 96 and 516, 84 and 448.

/// Doubles of a factor from which its solves are shared among threads, and subtrees that they take, at least.
/// Below, starting a team costs what it gains.
inline constexpr std::int64_t SHARED_SOLVE_ENTRIES = 200'000;
inline constexpr std::int32_t SOLVE_SUBTREES = 32;

/// Doubles of a node, times those of a right-hand side's row, from which the node is solved in strips that
/// other threads may take: some 50 microseconds. A strip reads SOLVE_STRIP_ENTRIES of them; a panel of pivots
/// is solved by one thread at a time.
inline constexpr std::int64_t SHARED_NODE_ENTRIES = 131'072;
inline constexpr std::int64_t SOLVE_STRIP_ENTRIES = 32'768;
inline constexpr std::int32_t SOLVE_PANEL = 256;

/// Looks that a thread of a solve takes at what it waits for before it sleeps: some 10 milliseconds, and some
/// 25 microseconds where there are more threads than cores. Two threads, one core busy elsewhere, one and
/// sixteen right-hand sides, ms, with 4,000 looks and with these: p3d_40 36 and 63, 30 and 57 (one thread on
/// an idle machine 28 and 54); p2d_300 16 and 32, 8.3 and 25 (9.3 and 25).
inline constexpr std::int32_t WATCHES = 400'000;
inline constexpr std::int32_t FEW_WATCHES = 1'000;

/// Bytes of a factor that a solve for one vector asks for ahead. p3d_40 on one thread 30 ms, 35 without; 8192
/// are the same.
inline constexpr std::int64_t SOLVE_PREFETCH_BYTES = 2048;

/// Operations from which a single matrix product of the L D L^T kernel runs on all threads: about 80
/// microseconds of work, against a few for starting the threads, and milliseconds when another process holds
/// a core.
inline constexpr double THREADED_PRODUCT_FLOPS = 4e6;

// The automatic ordering. Measured on one core of an AMD EPYC (Zen 4) with OpenBLAS 0.3.21, Cooperlake
// kernels, in processor seconds of analysis, factorization and one solve together; docs/performance.md has
// the table. What counts is the gain of a factorization against the time of METIS, which is proportional to
// the entries of the adjacency it orders: about a microsecond each, or 35,000 operations. Threads are left
// out, so that the order depends on the matrix alone.

/// Operations by AMD an adjacency entry from which METIS is tried, too. Total by METIS over total by AMD:
/// 2.5e4 (plate_100) 1.24, 3.2e4 (p3d_30) 1.29, 5.7e4 (p3d_35) 0.98, 7.5e4 (ela_15) 0.6, 8.7e4 (p3d_40)
/// 0.87, 2.4e5 (p3d_50) 0.65.
inline constexpr double DISSECTION_OPERATIONS = 6.5e4;

/// Unknowns of a part that a nested dissection on several threads leaves to AMD. Time on two threads and
/// operations, over METIS: p3d_60 0.48 and 0.97 (1,000 vertices), 0.44 and 1.00 (4,000); p2d_1000 0.47 and
/// 1.10 (1,000), 1.14 operations (4,000); p2d_500 0.98 operations (500), 0.96 (250), but no time won. With
/// three unknowns a vertex, entries and operations over METIS: elasticity3d 21 1.06 and 1.10 (1,500), 1.05
/// and 1.06 (1,000), 1.006 and 1.007 (500); ela_30 1.07 and 1.05, 1.03 and 1.02, 1.02 and 1.01, for 1.12 of
/// the time.
inline constexpr std::int32_t DISSECTION_LEAF = 500;

/// Vertices of a graph from which on the automatic ordering dissects on several threads: below, METIS takes
/// milliseconds.
inline constexpr std::int32_t DISSECTION_VERTICES = 10'000;

/// A mesh of depth d is taken for a body when it has more than this many times d^2 vertices: plane ones have
/// at most 1, plate_200 has 3, cubes have 4.6 (p3d_40) and more.
inline constexpr double BODY_THICKNESS = 4;

/// m^3 / (entries * degree^1.5) of a body, m the unknowns a level, from which METIS is taken without a look
/// at AMD, which would cost up to a twentieth of the whole: 13 for p3d_30 (METIS over AMD 1.29), 14 for
/// ela_10 (1.07), 20 for p3d_35 (0.98), 30 for p3d_40 (0.87), 40 for ela_15 (0.6).
inline constexpr double BODY_LEVEL_COST = 19;

/// Most operations and entries in the profile, each an entry of the full pattern, with which the natural
/// order is kept. Natural over AMD: bcsstk16 (275 and 2.1) 0.5, full bands of half-width 3 to 50 (1.5 to 25
/// and 0.5) 0.4 to 0.9. A strip of 50 x 20,000 points (630 and 13) is faster by 0.8, too, but takes three
/// times the memory.
inline constexpr double NATURAL_OPERATIONS = 300;
inline constexpr double NATURAL_FILL = 3;

} // namespace vyr::tuning
