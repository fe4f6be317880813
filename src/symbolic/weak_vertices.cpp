// A zero on the diagonal fills once a neighbour has been eliminated. An order that begins with the zero gives
// its column no pivot, and the factorization passes it on to where a neighbour comes: more fill than the
// analysis counts with. Here the order says so itself.
#include "symbolic/ordering.h"

namespace vyr {

namespace {

/// Vertices in their new order, each followed by those that wait for it.
class Postponement {
public:
    Postponement(Context& context, const Pattern& full, const std::uint8_t* weak) noexcept
        : context_(context), full_(full), weak_(weak) {}

    Status run(std::int32_t* perm) noexcept;

private:
    std::int32_t neighbour_to_wait_for(std::int32_t v) const noexcept;
    void put(std::int32_t v) noexcept;

    Context& context_;
    const Pattern& full_;
    const std::uint8_t* weak_;
    Buffer<std::int32_t> place_;         ///< n: in the old order
    Buffer<std::int32_t> first_, next_;  ///< n: lists of those that wait for a vertex, -1 at the end
    Buffer<std::int32_t> order_, stack_; ///< n
    Buffer<std::uint8_t> done_;          ///< n
    std::int32_t n_done_ = 0;
};

/// The neighbour that comes next, for a weak vertex none of whose neighbours has come; -1 when it need not or
/// cannot wait.
std::int32_t Postponement::neighbour_to_wait_for(std::int32_t v) const noexcept {
    if (weak_[v] == 0) return -1;
    std::int32_t next = -1;
    for (std::int32_t e = full_.col_ptr[v]; e < full_.col_ptr[v + 1]; ++e) {
        const std::int32_t u = full_.row_ind[e];
        if (u == v) continue;
        if (done_[u] != 0) return -1;
        if (place_[u] > place_[v] && (next < 0 || place_[u] < place_[next])) next = u;
    }
    return next;
}

void Postponement::put(std::int32_t v) noexcept {
    std::int32_t n_stacked = 0;
    stack_[n_stacked++] = v;
    while (n_stacked > 0) {
        const std::int32_t u = stack_[--n_stacked];
        order_[n_done_++] = u;
        done_[u] = 1;
        for (std::int32_t w = first_[u]; w >= 0; w = next_[w]) stack_[n_stacked++] = w;
    }
}

Status Postponement::run(std::int32_t* perm) noexcept {
    const std::int32_t n = full_.n;
    for (Buffer<std::int32_t>* list : {&place_, &first_, &next_, &order_, &stack_}) {
        *list = Buffer<std::int32_t>(context_.memory, n, -1);
        if (!*list) return out_of_memory(context_, Status::FACTOR_STORAGE);
    }
    done_ = Buffer<std::uint8_t>(context_.memory, n, std::uint8_t{0});
    if (!done_) return out_of_memory(context_, Status::FACTOR_STORAGE);
    for (std::int32_t k = 0; k < n; ++k) place_[perm[k]] = k;
    for (std::int32_t k = 0; k < n; ++k) {
        const std::int32_t v = perm[k], u = neighbour_to_wait_for(v);
        if (u < 0) {
            put(v);
            continue;
        }
        next_[v] = first_[u];
        first_[u] = v;
    }
    for (std::int32_t k = 0; k < n; ++k) perm[k] = order_[k];
    return Status::OK;
}

} // namespace

Status mf_postpone_weak(Context& context, const Pattern& full, const std::uint8_t* weak,
                        std::int32_t* perm) noexcept {
    return Postponement(context, full, weak).run(perm);
}

} // namespace vyr
