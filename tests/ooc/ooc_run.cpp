#include "ooc_run.h"

#include "memory/factor_files.h"
#include "memory/file_calls.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>

namespace vyr::test {

void analyse(Session& session, const Csc& a, const Road& road, std::int64_t memory_limit) {
    session.param[VYR_PARAM_BLOCKED] = road.blocked;
    ASSERT_EQ(session.init(a), VYR_OK);
    mf_ctrl[CTRL_CORE_MODE] = road.core_mode;
    const int threads_before = omp_get_max_threads();
    omp_set_num_threads(road.threads);
    const bool analysed = session.symbol(a);
    omp_set_num_threads(threads_before);
    ASSERT_TRUE(analysed);
    mf_ctrl[CTRL_TYPE] = road.type;
    object(session).memory_limit_bytes = memory_limit;
}

Solver& object(Session& session) {
    return *from_handle(session.handle);
}

Csc grid_matrix() {
    return spd(2400, grid_edges(60, 40), 5);
}

std::vector<double> right_hand_side(const Csc& a) {
    return random_vector(a.n, 11);
}

std::vector<double> in_core_solution(const Csc& a, int type) {
    const std::vector<double> ctrl(mf_ctrl, mf_ctrl + CTRL_COUNT), info(mf_info, mf_info + INFO_COUNT);
    Session session;
    analyse(session, a, {CORE_IN, type});
    EXPECT_EQ(session.numeric(a), VYR_OK);
    std::vector<double> x = session.solve(a, right_hand_side(a));
    std::copy(ctrl.begin(), ctrl.end(), mf_ctrl);
    std::copy(info.begin(), info.end(), mf_info);
    return x;
}

double difference(const std::vector<double>& x, const std::vector<double>& expected) {
    double largest = 0, worst = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        largest = std::max(largest, std::fabs(expected[i]));
        const double d = std::fabs(x[i] - expected[i]);
        worst = d <= worst ? worst : d; // also takes what is not a number
    }
    return worst / largest;
}

std::string contents(const std::string& name) {
    std::ifstream file(name, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

void overwrite(const std::string& name, const std::string& bytes) {
    std::ofstream(name, std::ios::binary | std::ios::trunc) << bytes;
}

std::string file_name(int number) {
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    return name;
}

std::string record(const mf_snode& node) {
    const std::int32_t header[] = {node.first(), static_cast<std::int32_t>(node.n_entries())};
    std::string bytes(reinterpret_cast<const char*>(header), sizeof header);
    bytes.append(reinterpret_cast<const char*>(node.factor_block),
                 static_cast<std::size_t>(node.n_entries()) * sizeof(double));
    return bytes;
}

std::int64_t path_bytes(const Solver& solver) {
    std::vector<std::int64_t> path(static_cast<std::size_t>(solver.n_snodes));
    std::int64_t largest = 0;
    for (std::int32_t s = solver.n_snodes - 1; s >= 0; --s) {
        const std::int32_t p = solver.snode_parent[s];
        const auto bytes = static_cast<std::uint64_t>(solver.snodes[s].n_entries()) * sizeof(double);
        path[static_cast<std::size_t>(s)] =
            mf_block_cost(bytes) + (p < 0 ? 0 : path[static_cast<std::size_t>(p)]);
        largest = std::max(largest, path[static_cast<std::size_t>(s)]);
    }
    return largest;
}

std::vector<std::int32_t> nodes_by_column(const Solver& solver) {
    std::vector<std::int32_t> nodes(static_cast<std::size_t>(solver.n), -1);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s)
        nodes[static_cast<std::size_t>(solver.snodes[s].first())] = s;
    return nodes;
}

} // namespace vyr::test
