// The library interface: any pattern in any form, any options, and what can be asked of a factor.
#include "fuzz/bytes.h"
#include "vyr/solver.h"

#include <cmath>
#include <cstring>
#include <vector>

using namespace vyr::test;

namespace {

vyr_options options_of(Bytes& bytes, const std::int32_t* permutation) {
    vyr_options options;
    vyr_options_default(&options, sizeof options);
    options.kind = bytes.below(5) - 1;
    options.ordering = bytes.below(7) - 1;
    options.permutation = bytes.below(4) == 0 ? nullptr : permutation;
    options.duplicates = bytes.below(2);
    options.threads = bytes.below(4) - 1;
    options.keep_matrix = bytes.below(2);
    options.refinements = bytes.below(6) - 2;
    options.pivot_min = bytes.below(4) == 0 ? bytes.value() : 0;
    options.backward_error_limit = bytes.below(4) == 0 ? bytes.value() : -1;
    options.directory = bytes.below(4) == 0 ? "." : nullptr;
    options.memory_limit = bytes.below(8) == 0 ? bytes.value() * 1e6 : 0;
    return options;
}

void known(vyr_status status) {
    require(std::strcmp(vyr_status_text(status), "an unknown status") != 0);
}

void ask(Bytes& bytes, vyr_factor* factor, const Csc& a) {
    std::vector<double> b(20 * 2, 1.0), x(20 * 2, 0.0);
    for (double& value : b) value = bytes.below(16) == 0 ? bytes.value() : 1;
    const int nrhs = bytes.below(4) - 1;
    vyr_solve_info info{};
    info.size = sizeof info;
    const vyr_status status = vyr_solve(factor, nrhs < 3 ? nrhs : 2, b.data(), 20, x.data(), 20, &info);
    known(status);
    for (int i = 0; status == VYR_STATUS_OK && i < a.n; ++i) require(std::isfinite(info.backward_error));
    double figure = 0;
    std::int32_t sign = 0;
    known(vyr_condition(factor, bytes.below(2), &figure));
    known(vyr_log_determinant(factor, &figure, &sign));
    known(vyr_factor_pivots(factor, x.data()));
    known(vyr_solve_part(factor, bytes.below(9) - 1, 1, b.data(), 20));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bytes bytes(data, size);
    const Csc a = bytes.matrix();
    std::vector<std::int32_t> permutation(12);
    for (int i = 0; i < 12; ++i) permutation[static_cast<std::size_t>(i)] = bytes.below(8) ? a.n - 1 - i : i;
    const vyr_options options = options_of(bytes, permutation.data());
    vyr_matrix matrix;
    vyr_matrix_lower(&matrix, sizeof matrix, a.n, a.colptr.data(), a.rowind.data(), a.values.data());
    matrix.triangle = bytes.below(8) == 0 ? bytes.below(5) - 1 : VYR_LOWER;
    matrix.layout = bytes.below(8) == 0 ? bytes.below(4) - 1 : VYR_COLUMNS;
    matrix.base = bytes.below(8) == 0;
    vyr_analysis* analysis = nullptr;
    vyr_factor* factor = nullptr;
    known(vyr_analyse(&matrix, &options, &analysis));
    known(vyr_factor_create(analysis, nullptr, &factor));
    for (int round = 0; factor != nullptr && round < 2; ++round) {
        known(vyr_factorise(factor, &matrix));
        ask(bytes, factor, a);
    }
    vyr_analysis_free(analysis);
    vyr_factor_free(factor);
    return 0;
}
