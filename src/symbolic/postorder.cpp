#include "symbolic/steps.h"

#include <algorithm>

namespace vyr {

namespace {

/// Emits one tree: down through first children to a leaf; after a node its next sibling's leaf, or its
/// parent.
std::int32_t emit_tree(std::int32_t root, const std::int32_t* parent, const std::int32_t* head,
                       const std::int32_t* next, std::int32_t position, std::int32_t* post) noexcept {
    std::int32_t node = root;
    for (;;) {
        while (head[node] != -1) node = head[node];
        post[position++] = node;
        while (node != root && next[node] == -1) {
            node = parent[node];
            post[position++] = node;
        }
        if (node == root) return position;
        node = next[node];
    }
}

} // namespace

Status mf_postorder(Context& context, Analysis& analysis) noexcept {
    const std::int32_t n = analysis.n;
    std::int32_t* parent = analysis.parent.get();
    Buffer<std::int32_t> head(context.memory, n, -1), next(context.memory, n, -1), post(context.memory, n),
        inverse(context.memory, n), renumbered(context.memory, n);
    if (!head || !next || !post || !inverse || !renumbered)
        return out_of_memory(context, Status::FACTOR_STORAGE);

    std::int32_t last_root = -1; // roots are linked in the order they are met: decreasing
    std::int32_t first_root = -1;
    for (std::int32_t j = n - 1; j >= 0; --j) {
        if (parent[j] != -1) {
            next[j] = head[parent[j]];
            head[parent[j]] = j;
        } else if (last_root == -1) {
            first_root = last_root = j;
        } else {
            next[last_root] = j;
            last_root = j;
        }
    }

    std::int32_t position = 0;
    for (std::int32_t root = first_root; root != -1; root = next[root])
        position = emit_tree(root, parent, head.get(), next.get(), position, post.get());

    for (std::int32_t k = 0; k < n; ++k) inverse[post[k]] = k;
    const auto renumber = [&](std::int32_t* array) {
        for (std::int32_t k = 0; k < n; ++k) renumbered[k] = array[post[k]];
        std::copy_n(renumbered.get(), n, array);
    };
    renumber(parent);
    for (std::int32_t k = 0; k < n; ++k)
        if (parent[k] != -1) parent[k] = inverse[parent[k]];
    renumber(analysis.perm.get());
    return Status::OK;
}

} // namespace vyr
