// docs/data-structures.md against the code: every line of its blocks marked `numbers` is produced here.
#include "numeric/input_assembly.h"
#include "numeric/update_passing.h"
#include "support/session.h"
#include "symbolic/column_counts.h"
#include "symbolic/elimination_tree.h"
#include "symbolic/flop_count.h"
#include "symbolic/full_pattern.h"
#include "symbolic/ordering.h"
#include "symbolic/postorder.h"

#include <gtest/gtest.h>
#include <omp.h>

#include <cstdio>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <string>

using namespace vyr;
using namespace vyr::test;

namespace {

/// The matrix of the document.
Csc worked_example() {
    Csc a;
    a.n = 7;
    a.colptr = {0, 3, 7, 9, 11, 13, 15, 16};
    a.rowind = {0, 5, 6, 1, 2, 4, 5, 2, 6, 3, 6, 4, 6, 5, 6, 6};
    a.values = {1, -1, -1, 6, -2, -1, -2, 4, -2, 4, -2, 1, -1, 6, -2, 10};
    return a;
}

/// The lines of the document's numbers: a label, then columns of one width.
class Lines {
public:
    void text(const std::string& label, const std::string& text) { start(label) << text << '\n'; }
    template <typename T>
    void row(const std::string& label, const T* values, std::int64_t count) {
        start(label);
        char field[40];
        for (std::int64_t k = 0; k < count; ++k) {
            std::snprintf(field, sizeof field, " %4.4g", static_cast<double>(values[k]) + 0.0);
            text_ << field;
        }
        text_ << '\n';
    }
    template <typename T>
    void row(const std::string& label, const std::vector<T>& values) {
        row(label, values.data(), static_cast<std::int64_t>(values.size()));
    }
    std::string all() const { return text_.str(); }

private:
    std::ostream& start(const std::string& label) {
        return text_ << std::left << std::setw(LABEL_WIDTH) << label;
    }

    static constexpr int LABEL_WIDTH = 18;
    std::ostringstream text_;
};

std::string name_of(std::int32_t number, std::string kind = "s") {
    return kind.append(std::to_string(number));
}

void write_matrix(const Csc& a, Lines& lines) {
    for (std::int32_t i = 0; i < a.n; ++i) {
        std::vector<double> row(static_cast<std::size_t>(i) + 1, 0.0);
        for (std::int32_t j = 0; j <= i; ++j)
            for (std::int32_t e = a.colptr[j]; e < a.colptr[j + 1]; ++e)
                if (a.rowind[e] == i) row[j] = a.values[e];
        lines.row(name_of(i, "row "), row);
    }
}

/// Ordering, elimination tree before and after the postorder, and column counts, which the analysis drops.
void write_trees(const Csc& a, Lines& lines) {
    InputPattern input;
    FullPattern full;
    ASSERT_TRUE(mf_input_pattern(a.n, a.colptr.data(), a.rowind.data(), input) && mf_sym_full(input, full));
    Solver* solver = mf_create_solver(a.n, a.nnz());
    ASSERT_NE(solver, nullptr);
    std::vector<std::int32_t> inverse(a.n), scratch(a.n);
    const auto invert = [&] {
        for (std::int32_t k = 0; k < a.n; ++k) inverse[solver->perm[k]] = k;
    };
    EXPECT_TRUE(mf_order(a.n, full.col_ptr.get(), full.row_ind.get(), solver->perm));
    invert();
    EXPECT_EQ(mf_etree(full, solver->perm, inverse.data(), solver->parent, scratch.data()), 1);
    lines.row("METIS", solver->perm, a.n);
    lines.row("parent", solver->parent, a.n);
    EXPECT_TRUE(mf_postorder(*solver));
    invert();
    EXPECT_TRUE(mf_colcount(full, inverse.data(), *solver));
    lines.row("perm", solver->perm, a.n);
    lines.row("parent", solver->parent, a.n);
    lines.row("child_count", solver->child_count, a.n);
    lines.row("column_count", solver->column_count, a.n);
    mf_release_solver(solver);
}

void write_supernodes(const Solver& solver, Lines& lines) {
    lines.row("column_map", solver.column_map, solver.n);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        char fields[80];
        std::snprintf(fields, sizeof fields, " %4d %4d %4d %4d %4d %4d %#8x", static_cast<int>(node.start),
                      node.npiv, node.nupd, node.level, node.child_count, solver.snode_parent[s], node.flags);
        lines.text(name_of(s), fields);
    }
    lines.row("factor_entries", &solver.factor_entries, 1);
    lines.row("largest_front", &solver.largest_front, 1);
    lines.row("largest_update", &solver.largest_update, 1);
    lines.row("max_level", &solver.max_level, 1);
    lines.row("stack_depth", &solver.stack_depth, 1);
    lines.row("update_stack_peak", &solver.update_stack_peak, 1);
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        lines.row(name_of(s) + " rows", node.rows, node.n_rows());
        if (node.nupd == 0) continue;
        lines.row(name_of(s) + " rel_index", node.rel_index + node.npiv, node.nupd);
        lines.row(name_of(s) + " anc_rows", node.anc_rows, node.anc_count);
    }
}

void write_value_map(const Csc& a, const Solver& solver, Lines& lines) {
    std::vector<std::int32_t> column;
    for (std::int32_t j = 0; j < a.n; ++j) column.insert(column.end(), a.colptr[j + 1] - a.colptr[j], j);
    lines.row("column", column);
    lines.row("rowInd", a.rowind);
    lines.row("values", a.values);
    lines.row("value_map", solver.value_map, solver.n_input);
}

void write_blocks(const Solver& solver, Lines& lines) {
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) {
        const mf_snode& node = solver.snodes[s];
        for (std::int32_t i = 0; i < node.npiv; ++i) {
            std::vector<double> row;
            for (std::int32_t j = 0; j < node.n_rows(); ++j)
                row.push_back(node.factor_block[i + j * node.npiv]);
            lines.row(name_of(s) + " pivot " + std::to_string(node.first() + i), row);
        }
    }
}

/// The places in the factor storage that the update of node 1 is added to.
void write_update(Solver& solver, Lines& lines) {
    mf_assemble_input(solver, std::vector<double>(solver.n_input, 0.0).data());
    const double update[] = {-1, 0, -2, -3}; // told apart by their values
    std::int32_t scratch[2];
    EXPECT_EQ(mf_pass_columns(solver, 1, update, 2, 0, 2, scratch, SharedNodes{}), 0);
    std::vector<std::int64_t> positions;
    std::vector<double> added;
    for (std::int64_t k = 0; k < solver.factor_entries; ++k) {
        if (solver.lu_values[k] == 0) continue;
        positions.push_back(k);
        added.push_back(solver.lu_values[k]);
    }
    EXPECT_EQ(added, (std::vector<double>{-1, -2, -3}));
    lines.row("update goes to", positions);
}

void write_tasks(const Solver& solver, Lines& lines) {
    std::vector<double> cost;
    for (std::int32_t s = 0; s < solver.n_snodes; ++s) cost.push_back(mf_node_cost(solver.snodes[s]));
    lines.row("cost", cost);
    lines.row("task_offset", solver.task_offset, solver.n_tasks + 1);
    lines.row("task_nodes", solver.task_nodes, solver.n_snodes);
    lines.row("task_work_entries", &solver.task_work_entries, 1);
    lines.row("critical_share", &solver.critical_share, 1);
}

/// What the blocks marked `numbers` of the document hold, without the headings, which begin with a space.
std::string documented_numbers() {
    std::ifstream file(VYR_DOCS_DIR "/data-structures.md");
    std::string text, line;
    for (bool inside = false; std::getline(file, line);) {
        if (line.rfind("```", 0) == 0)
            inside = line == "```numbers";
        else if (inside && line.rfind(' ', 0) != 0)
            text += line + '\n';
    }
    return text;
}

} // namespace

TEST(WorkedExample, TheDocumentShowsWhatTheCodeProduces) {
    omp_set_num_threads(2);
    const Csc a = worked_example();
    Session session;
    ASSERT_EQ(session.init(a), 0);
    ASSERT_TRUE(session.symbol(a));
    Solver& solver = *from_handle(session.handle);

    Lines lines;
    write_matrix(a, lines);
    write_trees(a, lines);
    write_supernodes(solver, lines);
    write_value_map(a, solver, lines);
    mf_assemble_input(solver, a.values.data());
    write_blocks(solver, lines);
    write_update(solver, lines);
    ASSERT_EQ(session.numeric(a), 0);
    write_blocks(solver, lines);
    lines.row("diag_values", solver.diag_values, a.n);
    write_tasks(solver, lines);
    EXPECT_EQ(documented_numbers(), lines.all()) << "docs/data-structures.md must show:\n" << lines.all();
}
