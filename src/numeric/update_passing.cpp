#include "numeric/update_passing.h"

#include <algorithm>

namespace vyr {

namespace {

/// Takes the lock when the walk enters the shared ancestors, and gives it back at the end of the walk.
class SharedSection {
public:
    explicit SharedSection(const SharedNodes& shared) noexcept : shared_(shared) {}
    ~SharedSection() {
        if (held_) omp_unset_lock(shared_.lock);
    }
    SharedSection(const SharedSection&) = delete;
    SharedSection& operator=(const SharedSection&) = delete;
    void enter(std::int32_t ancestor) noexcept {
        if (held_ || ancestor < shared_.first_shared) return;
        omp_set_lock(shared_.lock);
        held_ = true;
    }

private:
    const SharedNodes& shared_;
    bool held_ = false;
};

/// target[rows[i] - first] += source[i]; a consecutive run is one vector loop.
inline void add_column(double* target, const double* source, const std::int32_t* rows, std::int32_t n_rows,
                       std::int32_t first, bool consecutive) noexcept {
    if (consecutive) {
        double* run = target + (rows[0] - first);
        for (std::int32_t i = 0; i < n_rows; ++i) run[i] += source[i];
    } else {
        for (std::int32_t i = 0; i < n_rows; ++i) target[rows[i] - first] += source[i];
    }
}

} // namespace

// The rows an ancestor owns are its own columns, so their place is their index less the ancestor's first
// column. Only the columns of the update need the chain of relative indices.
Status mf_pass_columns(const mf_solver& solver, std::int32_t node, const double* update, std::int32_t ld,
                       std::int32_t begin, std::int32_t end, std::int32_t* scratch,
                       const SharedNodes& shared) noexcept {
    const mf_snode& sender = solver.snodes[node];
    const std::int32_t* rows = sender.update_rows();
    // place[j - begin]: position of update row j in the ancestor's row list.
    std::int32_t* place = scratch;
    std::copy_n(sender.rel_index + sender.npiv + begin, end - begin, place);
    SharedSection section(shared);

    std::int32_t a = solver.snode_parent[node];
    std::int32_t first_row = 0;
    for (std::int32_t k = 0; k < sender.anc_count && first_row < end; ++k, a = solver.snode_parent[a]) {
        const mf_snode& ancestor = solver.snodes[a];
        const std::int32_t last_row = first_row + sender.anc_rows[k];
        if (last_row > first_row) {
            section.enter(a);
            if (ancestor.factor_block == nullptr) return VYR_ERR_FACTOR_STORAGE;
            const bool consecutive = rows[last_row - 1] - rows[first_row] == last_row - first_row - 1;
            for (std::int32_t j = std::max(begin, first_row); j < end; ++j) {
                add_column(ancestor.factor_block +
                               static_cast<std::int64_t>(place[j - begin]) * ancestor.npiv,
                           update + static_cast<std::int64_t>(j - begin) * ld + first_row, rows + first_row,
                           std::min(last_row, j + 1) - first_row, ancestor.first(), consecutive);
            }
        }
        for (std::int32_t j = std::max(begin, last_row) - begin; j < end - begin; ++j)
            place[j] = ancestor.rel_index[place[j]];
        first_row = last_row;
    }
    return VYR_OK;
}

void mf_add_piece(const mf_snode& ancestor, const double* piece, std::int32_t ld, std::int32_t first_row,
                  std::int32_t n_rows, std::int32_t n_owned, const std::int32_t* owned_rows,
                  const std::int32_t* place) noexcept {
    const std::int32_t first = ancestor.first();
    for (std::int32_t i = 0; i < n_rows; ++i) {
        double* column = ancestor.factor_block + static_cast<std::int64_t>(place[i]) * ancestor.npiv;
        const std::int32_t n_upper = std::min(n_owned, first_row + i + 1);
        for (std::int32_t j = 0; j < n_upper; ++j)
            column[owned_rows[j] - first] += piece[i + static_cast<std::int64_t>(j) * ld];
    }
}

Status mf_pass_update(mf_solver& solver, std::int32_t node, const double* update,
                      std::int32_t* scratch) noexcept {
    mf_snode& sender = solver.snodes[node];
    const Status status = sender.nupd == 0 ? VYR_OK
                                           : mf_pass_columns(solver, node, update, sender.nupd, 0,
                                                             sender.nupd, scratch, SharedNodes{});
    if (status == VYR_OK) sender.flags |= NODE_FINISHED;
    return status;
}

} // namespace vyr
