// One matrix factorised and solved out of core through the exports, with the core mode put in force behind
// them: they never select it.
#pragma once

#include "interface/process_state.h"
#include "support/session.h"

#include <string>
#include <vector>

namespace vyr::test {

struct Road {
    int core_mode = CORE_OUT;
    int type = TYPE_SPD;
    int threads = 1;
    bool blocked = false;
};

/// VYR_init_ld and VYR_symbol_ld on the road; memory_limit: bytes for the blocks, 0 for none.
void analyse(Session& session, const Csc& a, const Road& road = {}, std::int64_t memory_limit = 0);

/// The object behind the session, to set and to look at.
Solver& object(Session& session);

/// The matrix of most tests here: a grid whose factor takes ten files in core mode 1.
Csc grid_matrix();

/// Random right-hand side of the matrix's order, always the same.
std::vector<double> right_hand_side(const Csc& a);

/// The in-core solution, by a session of its own that leaves the settings and statistics as they were.
std::vector<double> in_core_solution(const Csc& a, int type = TYPE_SPD);

/// Largest difference relative to the largest entry of `expected`.
double difference(const std::vector<double>& x, const std::vector<double>& expected);

/// Contents of a file of the current directory.
std::string contents(const std::string& name);
void overwrite(const std::string& name, const std::string& bytes);

/// Name of a factor file.
std::string file_name(int number);

/// Key, count and block of a node as a file holds them.
std::string record(const mf_snode& node);

/// Largest sum of the blocks of a node and its ancestors: what one task in postorder cannot do without.
std::int64_t path_bytes(const Solver& solver);

/// Node of each first pivot column, -1 elsewhere.
std::vector<std::int32_t> nodes_by_column(const Solver& solver);

} // namespace vyr::test
