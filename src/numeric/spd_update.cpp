// The update of a front goes from the registers straight into the ancestors: for a range of pivots at a time
// the coupling block is packed once, and every strip of columns multiplies by it.
#include "numeric/spd_front.h"
#include "numeric/update_passing.h"

#include <algorithm>
#include <atomic>

namespace vyr {

namespace {

/// True when the ancestors' shares of the update are so small that it is better formed in one piece.
bool is_small(const mf_snode& node) noexcept {
    return node.npiv <= tuning::FORMED_PIVOTS && node.nupd <= tuning::FORMED_ROWS;
}

/// The update of one node, ready to be subtracted for a range of pivots after the other.
class Update {
public:
    Update(const Factor& factor, std::int32_t s, const SpdTask& task, const SpdFront& front) noexcept
        : factor_(factor), s_(s), task_(task), front_(front), first_owed_(front.node.nupd) {
        if (task.limit != INT32_MAX) find_owed();
    }

    /// Packs the coupling block for pivots [k0, k0 + depth), the rows of each ancestor by themselves.
    void pack(std::int32_t k0, std::int32_t depth) const noexcept {
        const mf_snode& node = front_.node;
        double* packed = task_.packed;
        std::int32_t first = 0;
        for (std::int32_t k = 0; first < node.nupd; ++k) {
            const std::int32_t n_rows = first < first_owed_ ? node.anc_rows[k] : node.nupd - first;
            for_strips(n_rows, tuning::PACKED_ROWS, front_.shared,
                       [=, this](std::int32_t begin, std::int32_t end) noexcept {
                           task_.kernel->pack(depth, end - begin, front_.coupling_column(first + begin) + k0,
                                              node.npiv, packed + std::int64_t{begin} * depth);
                       });
            packed += std::int64_t{task_.kernel->padded(n_rows)} * depth;
            first += n_rows;
        }
    }

    /// Subtracts what these pivots contribute to columns [begin, end). Returns OK or FACTOR_STORAGE.
    Status subtract(std::int32_t k0, std::int32_t depth, std::int32_t begin,
                    std::int32_t end) const noexcept {
        const std::int32_t* rows = front_.node.update_rows();
        const double* packed = task_.packed;
        const auto multiply = [&](std::int32_t first, std::int32_t last, Product product) noexcept {
            const std::int32_t j0 = std::max(begin, first);
            product.depth = depth;
            product.n_rows = last - first;
            product.n_columns = end - j0;
            product.first_limit = j0 - first;
            product.left = packed;
            product.right = front_.coupling_column(j0) + k0;
            product.ld_right = front_.node.npiv;
            task_.kernel->subtract(product);
            packed += std::int64_t{task_.kernel->padded(last - first)} * depth;
        };
        const Status status = mf_walk_ancestors(
            factor_, s_, task_.limit, begin, end, task_.scratch + begin, [&](const Share& share) noexcept {
                Product product{};
                product.target = share.block;
                product.ld_target = share.ancestor.npiv;
                product.rows = rows + share.first_row;
                product.first_row = share.ancestor.first();
                product.places = share.place + std::max(0, share.first_row - begin);
                multiply(share.first_row, share.last_row, product);
            });
        if (status != Status::OK || end <= first_owed_) return status;
        Product product{};
        product.target = task_.owed;
        product.ld_target = root().nupd;
        product.rows = owed_places() + first_owed_;
        product.places = owed_places() + std::max(begin, first_owed_);
        multiply(first_owed_, front_.node.nupd, product);
        return Status::OK;
    }

    /// The whole of it, formed in one piece first. Returns OK or FACTOR_STORAGE.
    Status form_and_pass() const noexcept {
        const mf_snode& node = front_.node;
        const std::int32_t ld = task_.kernel->padded(node.nupd);
        double* const update = task_.packed + std::int64_t{ld} * node.npiv;
        task_.kernel->pack(node.npiv, node.nupd, front_.coupling_column(0), node.npiv, task_.packed);
        task_.kernel->form(node.npiv, node.nupd, task_.packed, front_.coupling_column(0), node.npiv, update);
        const Status status =
            mf_pass_columns(factor_, s_, 0, task_.limit, update, ld, 0, node.nupd, task_.scratch);
        for (std::int32_t j = first_owed_; j < node.nupd; ++j) {
            const double* source = update + std::int64_t{j} * ld;
            double* target = task_.owed + std::int64_t{owed_places()[j]} * root().nupd;
            for (std::int32_t i = first_owed_; i <= j; ++i) target[owed_places()[i]] += source[i];
        }
        return status;
    }

private:
    const mf_snode& root() const noexcept { return factor_.analysis->snodes[task_.limit - 1]; }
    /// By update row, from first_owed_ on: its place among the update rows of the root, which has all of
    /// them.
    std::int32_t* owed_places() const noexcept { return task_.scratch + factor_.analysis->largest_update; }

    void find_owed() noexcept {
        const std::int32_t nupd = front_.node.nupd;
        const std::int32_t* rows = front_.node.update_rows();
        const std::int32_t* root_rows = root().update_rows();
        const std::int32_t first_shared = root().first() + root().npiv;
        first_owed_ = static_cast<std::int32_t>(std::lower_bound(rows, rows + nupd, first_shared) - rows);
        std::int32_t place = 0;
        for (std::int32_t i = first_owed_; i < nupd; ++i) {
            while (root_rows[place] != rows[i]) ++place;
            owed_places()[i] = place;
        }
    }

    const Factor& factor_;
    std::int32_t s_;
    const SpdTask& task_;
    const SpdFront& front_;
    std::int32_t first_owed_; ///< update rows from here on belong to ancestors from the task's limit on
};

} // namespace

std::int64_t mf_packed_entries(const mf_snode& node, std::int32_t lanes) noexcept {
    const std::int64_t n_rows =
        node.nupd + std::int64_t{lanes - 1} * (std::min(node.anc_count, node.nupd) + 1);
    const std::int64_t formed = is_small(node) ? (node.nupd + std::int64_t{lanes} - 1) * node.nupd : 0;
    return n_rows * std::min(node.npiv, tuning::PRODUCT_DEPTH) + formed;
}

Status mf_spd_update(Factor& factor, std::int32_t s, SpdTask& task) noexcept {
    const SpdFront front(factor, s, task);
    const mf_snode& node = front.node;
    mf_solve_coupling(task, front);
    const Update update(factor, s, task, front);
    if (is_small(node)) return update.form_and_pass();
    std::atomic<bool> blocks_missing{false};
    for (std::int32_t k0 = 0; k0 < node.npiv; k0 += tuning::PRODUCT_DEPTH) {
        const std::int32_t depth = std::min(tuning::PRODUCT_DEPTH, node.npiv - k0);
        update.pack(k0, depth);
        for_strips(node.nupd, strip_width(node.nupd, front.shared), front.shared,
                   [&](std::int32_t begin, std::int32_t end) noexcept {
                       if (mf_stop(*task.context)) return; // the node ends CANCELLED
                       if (update.subtract(k0, depth, begin, end) != Status::OK) blocks_missing = true;
                   });
    }
    return blocks_missing ? Status::FACTOR_STORAGE : Status::OK;
}

} // namespace vyr
