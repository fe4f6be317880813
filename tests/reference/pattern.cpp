#include "reference/pattern.h"

#include <algorithm>
#include <deque>
#include <tuple>

namespace vyr::reference {

namespace {

/// A pattern from (column, row) pairs that are in order.
Pattern from_pairs(std::int32_t n, const std::vector<std::pair<std::int32_t, std::int32_t>>& pairs) {
    Pattern pattern;
    pattern.n = n;
    pattern.colptr.assign(n + 1, 0);
    for (auto [column, row] : pairs) {
        ++pattern.colptr[column + 1];
        pattern.rowind.push_back(row);
    }
    for (std::int32_t j = 0; j < n; ++j) pattern.colptr[j + 1] += pattern.colptr[j];
    return pattern;
}

} // namespace

CanonicalPattern canonical_pattern(const Pattern& stored) {
    std::vector<std::pair<std::int32_t, std::int32_t>> folded, pairs;
    for (std::int32_t j = 0; j < stored.n; ++j)
        for (std::int32_t e = stored.colptr[j]; e < stored.colptr[j + 1]; ++e)
            folded.push_back(std::minmax<std::int32_t>({j, stored.rowind[e]}));
    pairs = folded;
    std::sort(pairs.begin(), pairs.end());
    pairs.erase(std::unique(pairs.begin(), pairs.end()), pairs.end());
    CanonicalPattern result{from_pairs(stored.n, pairs), {}};
    for (const auto& pair : folded)
        result.entry_of.push_back(
            static_cast<std::int32_t>(std::lower_bound(pairs.begin(), pairs.end(), pair) - pairs.begin()));
    return result;
}

Pattern sym_full(const Pattern& lower) {
    std::vector<Ints> columns(lower.n);
    for (std::int32_t j = 0; j < lower.n; ++j)
        for (std::int32_t e = lower.colptr[j]; e < lower.colptr[j + 1]; ++e) {
            const std::int32_t i = lower.rowind[e];
            columns[j].push_back(i);
            if (i != j) columns[i].push_back(j);
        }
    Pattern full;
    full.n = lower.n;
    for (Ints& column : columns) {
        full.rowind.insert(full.rowind.end(), column.begin(), column.end());
        full.colptr.push_back(static_cast<std::int32_t>(full.rowind.size()));
    }
    return full;
}

Ints sym_map(const Pattern& full, const Pattern& lower) {
    Ints map(full.rowind.size());
    Ints own(lower.colptr.begin(), lower.colptr.end() - 1);
    Ints mirrored = own;
    for (std::int32_t c = 0; c < full.n; ++c)
        for (std::int32_t e = full.colptr[c]; e < full.colptr[c + 1]; ++e) {
            const std::int32_t r = full.rowind[e];
            std::int32_t& cursor = r >= c ? own[c] : mirrored[r];
            const std::int32_t wanted = r >= c ? r : c;
            while (lower.rowind[cursor] != wanted) ++cursor;
            map[e] = cursor++;
        }
    return map;
}

Pattern adjacency_graph(const Pattern& full) {
    Pattern graph;
    graph.n = full.n;
    for (std::int32_t j = 0; j < full.n; ++j) {
        for (std::int32_t e = full.colptr[j]; e < full.colptr[j + 1]; ++e)
            if (full.rowind[e] != j) graph.rowind.push_back(full.rowind[e]);
        graph.colptr.push_back(static_cast<std::int32_t>(graph.rowind.size()));
    }
    return graph;
}

Ints Compression::expand(const Ints& group_order) const {
    Ints perm;
    for (const std::int32_t g : group_order)
        for (auto j = static_cast<std::int32_t>(group.size()) - 1; j >= 0; --j)
            if (group[j] == g) perm.push_back(j);
    return perm;
}

Compression graph_compress(const Pattern& graph, double tolerance) {
    const std::int32_t n = graph.n;
    auto neighbours = [&](std::int32_t j) {
        return Ints(graph.rowind.begin() + graph.colptr[j], graph.rowind.begin() + graph.colptr[j + 1]);
    };
    std::vector<std::uint32_t> hash(n);
    for (std::int32_t j = 0; j < n; ++j) {
        hash[j] = static_cast<std::uint32_t>(j);
        for (const std::int32_t c : neighbours(j)) hash[j] += static_cast<std::uint32_t>(c);
    }
    Compression result{Ints(n, -1), {}, {}};
    Ints representatives;
    for (std::int32_t j = 0; j < n; ++j) {
        if (result.group[j] != -1) continue;
        const auto group = static_cast<std::int32_t>(representatives.size());
        representatives.push_back(j);
        result.group[j] = group;
        const Ints closed = neighbours(j);
        std::vector<bool> inside(n, false);
        inside[j] = true;
        for (const std::int32_t c : closed) inside[c] = true;
        const auto limit = static_cast<std::int32_t>(static_cast<double>(closed.size()) * tolerance);
        std::deque<std::int32_t> candidates(closed.begin(), closed.end());
        while (!candidates.empty()) {
            const std::int32_t c = candidates.front();
            candidates.pop_front();
            const Ints of_c = neighbours(c);
            if (c <= j || result.group[c] != -1 || hash[c] != hash[j] || of_c.size() != closed.size())
                continue;
            const auto outside = std::count_if(of_c.begin(), of_c.end(), [&](auto i) { return !inside[i]; });
            if (outside > limit) continue;
            result.group[c] = group;
            candidates.insert(candidates.end(), of_c.begin(), of_c.end());
        }
    }
    result.weights.assign(representatives.size(), 0);
    for (const std::int32_t group : result.group) ++result.weights[group];
    result.graph.n = static_cast<std::int32_t>(representatives.size());
    for (const std::int32_t j : representatives) {
        for (const std::int32_t c : neighbours(j))
            if (representatives[result.group[c]] == c) result.graph.rowind.push_back(result.group[c]);
        result.graph.colptr.push_back(static_cast<std::int32_t>(result.graph.rowind.size()));
    }
    return result;
}

Pattern sym_permute(const Pattern& full, const Ints& perm, Ints& new_place) {
    Ints inverse(full.n);
    for (std::int32_t k = 0; k < full.n; ++k) inverse[perm[k]] = k;
    std::vector<std::tuple<std::int32_t, std::int32_t, std::int32_t>> entries; // column, row, old place
    for (std::int32_t j = 0; j < full.n; ++j)
        for (std::int32_t e = full.colptr[j]; e < full.colptr[j + 1]; ++e)
            entries.emplace_back(inverse[j], inverse[full.rowind[e]], e);
    std::sort(entries.begin(), entries.end());
    new_place.assign(entries.size(), -1);
    std::vector<std::pair<std::int32_t, std::int32_t>> pairs;
    for (auto [column, row, old_place] : entries) {
        new_place[old_place] = static_cast<std::int32_t>(pairs.size());
        pairs.emplace_back(column, row);
    }
    return from_pairs(full.n, pairs);
}

} // namespace vyr::reference
