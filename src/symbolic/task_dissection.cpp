// Nested dissection on several threads: separators by METIS, the parts in a queue, the oldest and largest
// first, and minimum degree for those that are small enough. A. George, "Nested dissection of a regular
// finite element mesh", SIAM J. Numer. Anal. 10 (1973); the mixture: C. Ashcraft and J. W. H. Liu, "Robust
// ordering of sparse matrices using multisection", SIAM J. Matrix Anal. Appl. 19 (1998).
#include "core/lock.h"
#include "core/tuning.h"
#include "core/workforce.h"
#include "symbolic/metis_call.h"
#include "symbolic/ordering.h"

#include <metis.h>

#include <omp.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <numeric>

namespace vyr {

namespace {

/// Where METIS puts a vertex.
enum Side { LEFT = 0, RIGHT = 1, SEPARATOR = 2 };

std::int64_t n_unknowns(const Graph& graph) noexcept {
    if (graph.weights == nullptr) return graph.n;
    return std::accumulate(graph.weights, graph.weights + graph.n, std::int64_t{0});
}

/// An induced subgraph with a place in the order.
struct Part {
    Buffer<std::int32_t> storage;
    Graph graph{};
    const std::int32_t* vertices = nullptr; ///< graph.n: of the whole graph; null: all of them, in order
    std::int32_t first = 0;                 ///< position of the part's first vertex in the order
    std::uint32_t path = 1;                 ///< 1 for the whole graph; 2 p and 2 p + 1 for the sides of p
    std::unique_ptr<Part> next;             ///< in the queue

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

/// The parts that wait for a thread. It ends when the last part is done and has left no other.
class PartQueue {
public:
    void push(std::unique_ptr<Part> part) noexcept {
        const std::scoped_lock hold(mutex_);
        ++n_unfinished_;
        Part* const last = part.get();
        (last_ == nullptr ? first_ : last_->next) = std::move(part);
        last_ = last;
        changed_.notify_one();
    }
    /// The oldest part; null when nothing will come. While it waits the host is asked, and a call that is to
    /// stop waits for nothing but the parts at work.
    std::unique_ptr<Part> take(const Context& context) noexcept {
        std::unique_lock hold(mutex_);
        while (first_ == nullptr && n_unfinished_ > 0) {
            changed_.wait_for(hold, std::chrono::milliseconds(5));
            hold.unlock(); // the host's callback may take its time
            (void)mf_stop(context);
            hold.lock();
        }
        std::unique_ptr<Part> part = std::move(first_);
        if (part != nullptr) first_ = std::move(part->next);
        if (first_ == nullptr) last_ = nullptr;
        return part;
    }
    /// A part that was taken is done, and its sides have been pushed.
    void finish() noexcept {
        const std::scoped_lock hold(mutex_);
        if (--n_unfinished_ == 0) changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::unique_ptr<Part> first_;
    Part* last_ = nullptr;
    std::int64_t n_unfinished_ = 0; ///< waiting or at work
};

/// One run over the whole graph.
class Dissection {
public:
    Dissection(Context& context, std::int32_t* perm) noexcept : context_(context), perm_(perm) {}

    /// Gives the queue its first part.
    Status begin(const Graph& graph) noexcept;
    /// Orders parts until there are none; run by every thread.
    void work() noexcept;
    Status status() const noexcept { return status_.load(); }

private:
    Status order(Context& context, Part& part) noexcept;
    Status order_leaf(Context& context, const Part& part) noexcept;
    /// Sorts the vertices by side; the sides go to the queue, and the separator to its positions.
    Status divide(Context& context, const Part& part, bool& divided) noexcept;
    Status make_side(Context& context, const Part& part, const std::int32_t* side, std::int32_t* local,
                     std::int32_t which, Part& made) const noexcept;

    Context& context_;
    std::int32_t* perm_;
    PartQueue queue_;
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

Status Dissection::divide(Context& context, const Part& part, bool& divided) noexcept {
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
    std::unique_ptr<Part> sides[2];
    for (const Side which : {LEFT, RIGHT}) {
        sides[which].reset(new (std::nothrow) Part);
        if (sides[which] == nullptr) return out_of_memory(context, Status::FACTOR_STORAGE);
        status = make_side(context, part, side.get(), local.get(), which, *sides[which]);
        if (status != Status::OK) return status;
        sides[which]->first = part.first + (which == LEFT ? 0 : n_left);
    }
    for (std::unique_ptr<Part>& made : sides) queue_.push(std::move(made));
    std::int32_t place = part.first + n_left + n_right;
    for (std::int32_t j = 0; j < graph.n; ++j)
        if (side[j] == SEPARATOR) perm_[place++] = part.vertex(j);
    divided = true;
    return Status::OK;
}

Status Dissection::order(Context& context, Part& part) noexcept {
    bool divided = false;
    if (n_unknowns(part.graph) > tuning::DISSECTION_LEAF) {
        const Status status = divide(context, part, divided);
        if (status != Status::OK) return status;
    }
    return divided ? Status::OK : order_leaf(context, part);
}

Status Dissection::begin(const Graph& graph) noexcept {
    std::unique_ptr<Part> whole(new (std::nothrow) Part);
    if (whole == nullptr) return out_of_memory(context_, Status::FACTOR_STORAGE);
    whole->graph = graph;
    queue_.push(std::move(whole));
    return Status::OK;
}

void Dissection::work() noexcept {
    Context own(context_.memory); // what a failure leaves behind is one thread's
    own.cancel = context_.cancel;
    own.progress = context_.progress;
    while (const std::unique_ptr<Part> part = queue_.take(own)) {
        const Status status = this->status() == Status::OK ? order(own, *part) : Status::OK;
        if (status != Status::OK) {
            const Hold hold(&lock_);
            if (this->status() == Status::OK) {
                status_.store(status);
                std::copy(std::begin(own.reason), std::end(own.reason), context_.reason);
            }
        }
        queue_.finish();
    }
}

} // namespace

Status mf_task_dissection(Context& context, const Graph& graph, std::int32_t* perm) noexcept {
    Dissection dissection(context, perm);
    const Status status = dissection.begin(graph);
    if (status != Status::OK) return status;
    const bool shared = graph.n > 2 * tuning::DISSECTION_LEAF;
    const std::int32_t n_threads = shared ? mf_team(context, std::max(context.settings.n_threads, 1)) : 1;
#pragma omp parallel num_threads(n_threads) if (n_threads > 1)
    dissection.work();
    return dissection.status();
}

} // namespace vyr
