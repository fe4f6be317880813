#include "symbolic/solver.h"

#include "memory/buffer.h"

namespace vyr {

mf_solver* mf_create_solver(std::int32_t n, std::int32_t n_input) noexcept {
    auto* solver = mf_array<mf_solver>(1);
    if (solver == nullptr) return nullptr;
    *solver = mf_solver{};
    solver->n = n;
    solver->n_cols = n;
    solver->n_input = n_input;
    solver->parent = mf_array<std::int32_t>(n);
    solver->child_count = mf_array<std::int32_t>(n);
    solver->column_count = mf_array<std::int32_t>(n);
    solver->value_map = mf_array<std::int64_t>(n_input);
    solver->perm = mf_array<std::int32_t>(std::int64_t{n} + 1);
    if (!solver->parent || !solver->child_count || !solver->column_count || !solver->value_map ||
        !solver->perm) {
        mf_release_solver(solver);
        return nullptr;
    }
    for (std::int32_t k = 0; k <= n; ++k) solver->perm[k] = k;
    return solver;
}

void mf_release_solver(mf_solver* solver) noexcept {
    if (solver == nullptr) return;
    for (std::int32_t s = 0; solver->snodes != nullptr && s < solver->n_snodes; ++s) {
        mf_snode& node = solver->snodes[s];
        if (node.block_bytes != 0) mf_page_free(node.factor_block, node.flags);
    }
    void* const owned[] = {solver->value_map,    solver->snode_work,   solver->parent,
                           solver->child_count,  solver->column_count, solver->node_work,
                           solver->snode_parent, solver->column_map,   solver->perm,
                           solver->snodes,       solver->lu_values,    solver->front_work,
                           solver->update_stack, solver->diag_values,  solver->row_slab,
                           solver->rel_slab,     solver->anc_slab,     solver->task_offset,
                           solver->task_nodes,   solver->task_work,    solver->task_work_block,
                           solver->pivot_index,  solver->work_block,   solver->update_nodes,
                           solver->file_buffer,  solver->solve_work,   solver};
    for (void* block : owned) mf_free(block);
}

} // namespace vyr
