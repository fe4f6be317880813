// Nested dissection on several threads: separators by METIS one level after the other, the two sides of each
// as tasks, and minimum degree for the parts that are small enough. A. George, "Nested dissection of a
// regular finite element mesh", SIAM J. Numer. Anal. 10 (1973); the mixture: C. Ashcraft and J. W. H. Liu,
// "Robust ordering of sparse matrices using multisection", SIAM J. Matrix Anal. Appl. 19 (1998).
#include "core/lock.h"
#include "core/tuning.h"
#include "core/workforce.h"
#include "symbolic/metis_call.h"
#include "symbolic/ordering.h"

#include <metis.h>

#include <omp.h>

#include <algorithm>
#include <utility>

namespace vyr {

namespace {

/// Where METIS puts a vertex.
enum Side { LEFT = 0, RIGHT = 1, SEPARATOR = 2 };

/// An induced subgraph with a place in the order.
struct Part {
    Buffer<std::int32_t> storage;
    Graph graph{};
    const std::int32_t* vertices = nullptr; ///< graph.n: of the whole graph; null: all of them, in order
    std::int32_t first = 0;                 ///< position of the part's first vertex in the order
    std::uint32_t path = 1;                 ///< 1 for the whole graph; 2 p and 2 p + 1 for the sides of p

    std::int32_t vertex(std::int32_t i) const noexcept { return vertices == nullptr ? i : vertices[i]; }
};

struct Separation {
    idx_t n;
    idx_t *xadj, *adjacency, *weights, *side;
    idx_t seed, n_separator;
};

Status separate(Context& context, void* arguments) noexcept {
    auto& a = *static_cast<Separation*>(arguments);
    idx_t options[METIS_NOPTIONS];
    METIS_SetDefaultOptions(options);
    options[METIS_OPTION_NUMBERING] = 0;
    options[METIS_OPTION_SEED] = a.seed;
    const int outcome =
        METIS_ComputeVertexSeparator(&a.n, a.xadj, a.adjacency, a.weights, options, &a.n_separator, a.side);
    if (outcome == METIS_OK) return Status::OK;
    if (outcome == METIS_ERROR_MEMORY)
        return fail(context, Status::FACTOR_STORAGE, "METIS ran out of memory");
    return fail(context, Status::ORDERING, "METIS failed with code %d", outcome);
}

/// One run over the whole graph.
class Dissection {
public:
    Dissection(Context& context, std::int32_t* perm) noexcept : context_(context), perm_(perm) {}

    /// Orders the part. Its graph goes when it is not needed any more.
    void order(Part& part) noexcept;
    Status status() const noexcept { return status_.load(); }

private:
    Status order_leaf(Context& context, const Part& part) noexcept;
    /// Sorts the vertices by side; `sides` receives the parts, and the separator its positions.
    Status divide(Context& context, Part& part, Part (&sides)[2], bool& divided) noexcept;
    Status make_side(Context& context, const Part& part, const std::int32_t* side, std::int32_t* local,
                     std::int32_t which, Part& made) const noexcept;

    Context& context_;
    std::int32_t* perm_;
    Lock lock_;
    std::atomic<Status> status_{Status::OK};
};

Status Dissection::order_leaf(Context& context, const Part& part) noexcept {
    const std::int32_t n = part.graph.n;
    Buffer<std::int32_t> order(context.memory, n);
    if (!order) return out_of_memory(context, Status::FACTOR_STORAGE);
    double operations = 0;
    const Status status = mf_minimum_degree(context, part.graph, order.get(), operations);
    if (status != Status::OK) return status;
    for (std::int32_t k = 0; k < n; ++k) perm_[part.first + k] = part.vertex(order[k]);
    return Status::OK;
}

Status Dissection::make_side(Context& context, const Part& part, const std::int32_t* side,
                             std::int32_t* local, std::int32_t which, Part& made) const noexcept {
    const Graph& graph = part.graph;
    std::int32_t n = 0, n_entries = 0;
    for (std::int32_t j = 0; j < graph.n; ++j) {
        if (side[j] != which) continue;
        local[j] = n++;
        for (std::int32_t k = graph.xadj[j]; k < graph.xadj[j + 1]; ++k)
            n_entries += side[graph.adjacency[k]] == which;
    }
    const std::int64_t n_weights = graph.weights == nullptr ? 0 : n;
    made.storage = Buffer<std::int32_t>(context.memory, 2 * std::int64_t{n} + 1 + n_entries + n_weights);
    if (!made.storage) return out_of_memory(context, Status::FACTOR_STORAGE);
    std::int32_t* vertices = made.storage.get();
    std::int32_t* xadj = vertices + n;
    std::int32_t* adjacency = xadj + n + 1;
    std::int32_t* weights = n_weights == 0 ? nullptr : adjacency + n_entries;
    std::int32_t at = 0, place = 0;
    for (std::int32_t j = 0; j < graph.n; ++j) {
        if (side[j] != which) continue;
        vertices[at] = part.vertex(j);
        if (weights != nullptr) weights[at] = graph.weights[j];
        xadj[at++] = place;
        for (std::int32_t k = graph.xadj[j]; k < graph.xadj[j + 1]; ++k)
            if (side[graph.adjacency[k]] == which) adjacency[place++] = local[graph.adjacency[k]];
    }
    xadj[n] = place;
    made.graph = {n, xadj, adjacency, weights};
    made.vertices = vertices;
    made.path = 2 * part.path + static_cast<std::uint32_t>(which);
    return Status::OK;
}

Status Dissection::divide(Context& context, Part& part, Part (&sides)[2], bool& divided) noexcept {
    const Graph& graph = part.graph;
    divided = false;
    Buffer<std::int32_t> side(context.memory, graph.n), local(context.memory, graph.n);
    if (!side || !local) return out_of_memory(context, Status::FACTOR_STORAGE);
    Separation cut{graph.n,
                   graph.xadj,
                   graph.adjacency,
                   graph.weights,
                   side.get(),
                   static_cast<idx_t>(part.path & INT32_MAX),
                   0};
    Status status = mf_ordering_call(context, separate, &cut);
    if (status != Status::OK) return status;
    const auto count = [&](Side which) {
        return static_cast<std::int32_t>(std::count(side.get(), side.get() + graph.n, which));
    };
    const std::int32_t n_left = count(LEFT), n_right = count(RIGHT);
    if (n_left == 0 || n_right == 0) return Status::OK;
    status = make_side(context, part, side.get(), local.get(), LEFT, sides[LEFT]);
    if (status == Status::OK) status = make_side(context, part, side.get(), local.get(), RIGHT, sides[RIGHT]);
    if (status != Status::OK) return status;
    sides[LEFT].first = part.first;
    sides[RIGHT].first = part.first + n_left;
    std::int32_t place = part.first + n_left + n_right;
    for (std::int32_t j = 0; j < graph.n; ++j)
        if (side[j] == SEPARATOR) perm_[place++] = part.vertex(j);
    divided = true;
    return Status::OK;
}

void Dissection::order(Part& part) noexcept {
    if (status() != Status::OK) return;
    Context own(context_.memory); // what a failure leaves behind is one thread's
    own.cancel = context_.cancel;
    own.progress = context_.progress;
    Part sides[2];
    bool divided = false;
    Status status = Status::OK;
    if (part.graph.n > tuning::DISSECTION_LEAF) status = divide(own, part, sides, divided);
    if (status == Status::OK && !divided) status = order_leaf(own, part);
    part.storage.reset();
    if (status != Status::OK) {
        const Hold hold(&lock_);
        if (this->status() != Status::OK) return;
        status_.store(status);
        std::copy(std::begin(own.reason), std::end(own.reason), context_.reason);
    } else if (divided) {
        Dissection* self = this;
        Part* left = &sides[LEFT];
#pragma omp task firstprivate(self, left)
        self->order(*left);
        order(sides[RIGHT]);
#pragma omp taskwait
    }
}

} // namespace

Status mf_task_dissection(Context& context, const Graph& graph, std::int32_t* perm) noexcept {
    Dissection dissection(context, perm);
    Part whole;
    whole.graph = graph;
    const bool shared = graph.n > 2 * tuning::DISSECTION_LEAF;
    const std::int32_t n_threads = shared ? mf_team(context, std::max(context.settings.n_threads, 1)) : 1;
#pragma omp parallel num_threads(n_threads) if (n_threads > 1)
#pragma omp master
    dissection.order(whole);
    return dissection.status();
}

} // namespace vyr
