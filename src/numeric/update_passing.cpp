#include "numeric/update_passing.h"

#include <algorithm>

namespace vyr {

namespace {

/// The part of an update that one ancestor receives: rows [first_row, last_row) of columns of the update.
struct Piece {
    const mf_snode& ancestor;
    double* block;            ///< of the ancestor
    const std::int32_t* rows; ///< row indices of those rows, columns of the ancestor
    std::int32_t n_rows;
    bool consecutive; ///< the rows follow each other

    double* target(std::int32_t place) const noexcept {
        return block + static_cast<std::int64_t>(place) * ancestor.npiv;
    }
};

/// Adds the first n_rows rows of one column; a consecutive run is one vector loop.
inline void add_column(const Piece& piece, double* target, const double* source,
                       std::int32_t n_rows) noexcept {
    const std::int32_t first = piece.ancestor.first();
    if (piece.consecutive) {
        double* run = target + (piece.rows[0] - first);
        for (std::int32_t i = 0; i < n_rows; ++i) run[i] += source[i];
    } else {
        for (std::int32_t i = 0; i < n_rows; ++i) target[piece.rows[i] - first] += source[i];
    }
}

/// Adds full columns of a consecutive piece whose height is known when this is compiled.
template <std::int32_t HEIGHT>
void add_short_columns(const Piece& piece, const double* source, std::int32_t ld, const std::int32_t* place,
                       std::int32_t n_columns) noexcept {
    const std::int32_t offset = piece.rows[0] - piece.ancestor.first();
    for (std::int32_t j = 0; j < n_columns; ++j, source += ld) {
        double* run = piece.target(place[j]) + offset;
        for (std::int32_t i = 0; i < HEIGHT; ++i) run[i] += source[i];
    }
}

/// Adds full columns of a piece: n_columns columns at `source`, to the ancestor's columns place[0 ..
/// n_columns).
void add_columns(const Piece& piece, const double* source, std::int32_t ld, const std::int32_t* place,
                 std::int32_t n_columns) noexcept {
    if (piece.consecutive) {
        switch (piece.n_rows) {
        case 1:
            return add_short_columns<1>(piece, source, ld, place, n_columns);
        case 2:
            return add_short_columns<2>(piece, source, ld, place, n_columns);
        case 3:
            return add_short_columns<3>(piece, source, ld, place, n_columns);
        case 4:
            return add_short_columns<4>(piece, source, ld, place, n_columns);
        default:
            break;
        }
    }
    constexpr std::int32_t AHEAD = 4;
    for (std::int32_t j = 0; j < n_columns; ++j, source += ld) {
        if (j + AHEAD < n_columns) {
            const double* next = piece.target(place[j + AHEAD]) + (piece.rows[0] - piece.ancestor.first());
            __builtin_prefetch(next, 1);
            __builtin_prefetch(next + 8, 1);
        }
        add_column(piece, piece.target(place[j]), source, piece.n_rows);
    }
}

} // namespace

// The rows an ancestor owns are its own columns, so their place is their index less the ancestor's first
// column. Only the columns of the update need the chain of relative indices.
Status mf_pass_columns(const Factor& factor, std::int32_t node, std::int32_t from, std::int32_t limit,
                       const double* update, std::int32_t ld, std::int32_t begin, std::int32_t end,
                       std::int32_t* scratch) noexcept {
    const std::int32_t* rows = factor.analysis->snodes[node].update_rows();
    const std::int32_t first_wanted = factor.analysis->snodes[from].first();
    return mf_walk_ancestors(factor, node, limit, begin, end, scratch, [=](const Share& share) noexcept {
        if (share.ancestor.first() < first_wanted) return;
        const std::int32_t first_row = share.first_row, last_row = share.last_row;
        const Piece piece{share.ancestor, share.block, rows + first_row, last_row - first_row,
                          rows[last_row - 1] - rows[first_row] == last_row - first_row - 1};
        const double* source = update + first_row;
        const std::int32_t middle = std::clamp(last_row, begin, end);
        for (std::int32_t j = std::max(begin, first_row); j < middle; ++j) // the triangle's own columns
            add_column(piece, piece.target(share.place[j - begin]),
                       source + static_cast<std::int64_t>(j - begin) * ld, j + 1 - first_row);
        add_columns(piece, source + static_cast<std::int64_t>(middle - begin) * ld, ld,
                    share.place + (middle - begin), end - middle);
    });
}

void mf_clear_update(double* update, std::int64_t order) noexcept {
    for (std::int64_t j = 0; j < order; ++j) std::fill_n(update + j * order, j + 1, 0.0);
}

void mf_add_piece(const mf_snode& ancestor, double* block, const double* piece, std::int32_t ld,
                  std::int32_t first_row, std::int32_t n_rows, std::int32_t n_owned,
                  const std::int32_t* owned_rows, const std::int32_t* place) noexcept {
    // Rows of the piece, columns of the ancestor, taken together: one cache line of the source.
    constexpr std::int32_t TILE = 8;
    const std::int32_t first = ancestor.first();
    double* column[TILE];
    for (std::int32_t i0 = 0; i0 < n_rows; i0 += TILE) {
        const std::int32_t height = std::min(TILE, n_rows - i0);
        for (std::int32_t q = 0; q < height; ++q)
            column[q] = block + static_cast<std::int64_t>(place[i0 + q]) * ancestor.npiv;
        const double* source = piece + i0;
        const std::int32_t n_upper = std::min(n_owned, first_row + i0 + height);
        for (std::int32_t j = 0; j < n_upper; ++j, source += ld)
            for (std::int32_t q = std::max(0, j - first_row - i0); q < height; ++q)
                column[q][owned_rows[j] - first] += source[q];
    }
}

Status mf_pass_update(Factor& factor, std::int32_t node, const double* update,
                      std::int32_t* scratch) noexcept {
    const std::int32_t nupd = factor.analysis->snodes[node].nupd;
    const Status status =
        nupd == 0 ? Status::OK : mf_pass_columns(factor, node, 0, INT32_MAX, update, nupd, 0, nupd, scratch);
    if (status == Status::OK) factor.blocks[node].flags |= BLOCK_FINISHED;
    return status;
}

} // namespace vyr
