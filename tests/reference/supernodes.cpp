#include "reference/supernodes.h"

#include <algorithm>
#include <utility>

namespace vyr::reference {

namespace {

constexpr std::int32_t WIDTH_LIMIT = 1024;
constexpr std::int32_t PANEL = 16;

/// 32-bit arithmetic that wraps, read as signed.
std::int32_t wrapped(std::uint64_t value) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

/// Row structure of the supernode being built: a sorted linked list from its first column to the end mark n.
struct RowList {
    Ints next;
    explicit RowList(std::int32_t n) : next(n, n) {}

    /// Inserts the rows of an ascending run that are larger than `first`; returns how many were new.
    std::int32_t merge(std::int32_t first, const Ints& run) {
        std::int32_t at = first, inserted = 0;
        for (const std::int32_t row : run) {
            if (row <= first) continue;
            while (next[at] < row) at = next[at];
            if (next[at] == row) continue;
            next[row] = next[at];
            next[at] = row;
            at = row;
            ++inserted;
        }
        return inserted;
    }

    Ints take(std::int32_t first) {
        const auto end = static_cast<std::int32_t>(next.size());
        Ints rows;
        for (std::int32_t at = first; at != end;) {
            rows.push_back(at);
            at = std::exchange(next[at], end);
        }
        return rows;
    }
};

void relative_indices(AssemblyTree& tree, std::int32_t s) {
    Snode& node = tree.snodes[s];
    const Snode& parent = tree.snodes[tree.snode_parent[s]];
    const std::int32_t w = node.npiv, u = node.nupd;
    auto update_row = [&](std::int32_t t) { return node.rows[w + t]; };
    node.rel_index.assign(w + u, 0);
    std::int32_t position = 0;
    for (std::int32_t t = 0; t < u; ++t) {
        while (parent.rows[position] != update_row(t)) ++position;
        node.rel_index[w + t] = position;
    }
    std::int32_t t0 = 0;
    while (t0 < u && node.rel_index[w + t0] < parent.npiv) ++t0;
    if (node.rel_index[w] >= parent.npiv) node.flags |= 128;
    if (node.rel_index[w + u - 1] < parent.npiv) node.flags |= 64;
    if (t0 > 0 && update_row(t0 - 1) == update_row(0) + t0 - 1) node.flags |= 16;
    if (u - t0 > 0 && update_row(u - 1) == parent.rows[node.rel_index[w + t0] + (u - t0) - 1])
        node.flags |= 32;

    std::int32_t counted = 0;
    for (std::int32_t a = tree.snode_parent[s]; counted < u; a = tree.snode_parent[a]) {
        const std::int32_t last_column = tree.snodes[a].rows[tree.snodes[a].npiv - 1];
        const std::int32_t before = counted;
        while (counted < u && update_row(counted) <= last_column) ++counted;
        node.anc_rows.push_back(counted - before);
    }
}

void finish_snodes(AssemblyTree& tree, std::int32_t n, std::int32_t core_mode) {
    std::int64_t g = 0;
    for (std::size_t s = 0; s < tree.snodes.size(); ++s) {
        Snode& node = tree.snodes[s];
        const std::int64_t w = node.npiv, u = node.nupd;
        tree.largest_update = std::max(tree.largest_update, node.nupd);
        tree.largest_front = std::max(tree.largest_front, (w + u) * (core_mode == 0 ? w : PANEL));
        tree.largest_width = std::max(tree.largest_width, node.npiv);
        g = std::max(g, PANEL * w);
        if (tree.snode_parent[s] == -1) continue;
        ++tree.snodes[tree.snode_parent[s]].child_count;
        relative_indices(tree, static_cast<std::int32_t>(s));
    }
    const std::int64_t largest = tree.largest_update;
    tree.memory_estimate = 8 * (std::max<std::int64_t>(largest * largest, n) + 4 * g + tree.largest_front);
}

void update_stack(AssemblyTree& tree) {
    std::int32_t depth = 0;
    std::int64_t entries = 0;
    std::vector<std::int64_t> stack;
    for (const Snode& node : tree.snodes) {
        depth -= node.child_count;
        for (std::int32_t c = 0; c < node.child_count; ++c) {
            entries -= stack.back() * (stack.back() + 1) / 2;
            stack.pop_back();
        }
        if (node.nupd == 0) continue;
        tree.stack_depth = std::max(tree.stack_depth, ++depth);
        stack.push_back(node.nupd);
        entries += stack.back() * (stack.back() + 1) / 2;
        tree.update_stack_peak = std::max(tree.update_stack_peak, entries);
    }
}

void link_parents(AssemblyTree& tree, const Ints& parent) {
    tree.snode_parent.assign(tree.snodes.size(), -1);
    for (std::size_t s = 0; s < tree.snodes.size(); ++s) {
        Snode& node = tree.snodes[s];
        node.level = std::max(node.level, 0);
        const std::int32_t p = parent[node.rows[node.npiv - 1]];
        if (p == -1) {
            tree.max_level = std::max(tree.max_level, node.level);
            continue;
        }
        tree.snode_parent[s] = tree.column_map[p];
        Snode& above = tree.snodes[tree.column_map[p]];
        above.level = std::max(above.level, node.level + 1);
    }
}

} // namespace

AssemblyTree supernodes(const Pattern& permuted, const Ints& parent, const Ints& column_count,
                        std::int32_t core_mode) {
    const std::int32_t n = permuted.n;
    AssemblyTree tree;
    tree.column_map.assign(n, -1);
    std::vector<Ints> children(n);
    for (std::int32_t j = 0; j < n; ++j)
        if (parent[j] != -1) children[parent[j]].push_back(j);

    RowList list(n);
    Ints marked_for(n, -1); // per closed supernode, the supernode it was merged into
    std::int32_t w = 0, r = 1, z = 0;
    for (std::int32_t col = 0; col < n; ++col) {
        ++w;
        const std::int32_t f = col + 1 - w;
        const auto current = static_cast<std::int32_t>(tree.snodes.size());
        for (const std::int32_t c : children[col]) {
            const std::int32_t s = tree.column_map[c];
            if (s == -1 || marked_for[s] == current) continue;
            const Snode& closed = tree.snodes[s];
            r += list.merge(f, Ints(closed.rows.begin() + closed.npiv, closed.rows.end()));
            marked_for[s] = current;
        }
        r += list.merge(f, Ints(permuted.rowind.begin() + permuted.colptr[col],
                                permuted.rowind.begin() + permuted.colptr[col + 1]));
        bool ends = col == n - 1 || parent[col] != col + 1 || children[col + 1].empty();
        if (!ends && w < WIDTH_LIMIT) {
            const std::uint64_t width = w, front = width + column_count[col + 1];
            const std::uint64_t added = column_count[col + 1] - column_count[col] + 1;
            z = wrapped(static_cast<std::uint64_t>(z) + 2 * width * added);
            const std::int32_t rest = wrapped(front * front - static_cast<std::uint64_t>(z));
            ends = z > 0.01 * rest && w >= 2;
        } else if (!ends) {
            ends = true;
        }
        if (!ends) continue;
        Snode node;
        node.npiv = w;
        node.nupd = r - w;
        node.rows = list.take(f);
        node.start = tree.factor_entries;
        tree.factor_entries += static_cast<std::int64_t>(w) * r;
        std::fill_n(tree.column_map.begin() + f, w, current);
        tree.snodes.push_back(node);
        w = 0, r = 1, z = 0;
    }
    link_parents(tree, parent);
    finish_snodes(tree, n, core_mode);
    update_stack(tree);
    return tree;
}

Longs factor_positions(const Pattern& permuted, const AssemblyTree& tree) {
    Longs positions(permuted.rowind.size(), -1);
    for (const Snode& node : tree.snodes)
        for (std::int32_t c = 0; c < node.npiv; ++c) {
            const std::int32_t j = node.rows[0] + c;
            std::int64_t k = 0;
            for (std::int32_t e = permuted.colptr[j]; e < permuted.colptr[j + 1]; ++e) {
                const std::int32_t i = permuted.rowind[e];
                if (i < j) continue;
                while (node.rows[k] != i) ++k;
                positions[e] = node.start + node.npiv * k + c;
            }
        }
    return positions;
}

} // namespace vyr::reference
