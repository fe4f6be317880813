#include "tools/vyr/solve_report.h"

#include "tools/vyr/format.h"
#include "tools/vyr/json_object.h"

#include <cinttypes>
#include <cmath>
#include <cstdio>

namespace vyr::tool {

namespace {

double rate(const SolveResult& result) {
    return result.seconds_factorise > 0 ? result.analysis.operations / result.seconds_factorise * 1e-9 : 0.0;
}

bool has_solution(const SolveResult& result) {
    return result.status == VYR_STATUS_OK || result.status == VYR_STATUS_INACCURATE;
}

const char* ordering_name(std::int32_t ordering) {
    constexpr const char* NAMES[] = {"automatic", "METIS", "AMD", "natural", "user", "dissection"};
    return ordering >= 0 && ordering < 6 ? NAMES[ordering] : "?";
}

std::string not_positive_definite(const SolveResult& result) {
    std::string text = "The matrix is not positive definite";
    if (result.factor.failed_equation > 0)
        text += format(": the pivot of equation %" PRId64 " is %g", result.factor.failed_equation,
                       result.factor.failed_pivot);
    return text + ". Check that row of the matrix, counted from 1, and the constraints that hold the model: "
                  "a free body or a negative diagonal entry ends like this. If it is meant to be "
                  "indefinite, use --indefinite.";
}

std::string out_of_memory(const SolveResult& result) {
    if (result.memory_limit > 0) return "The memory limit is too small: " + result.message + ".";
    return "Out of memory (" + result.message +
           "). Close other programs, use a machine with more memory, or solve a smaller problem.";
}

/// Why a solution of a system that was factorised cannot be trusted.
std::string not_to_be_trusted(const SolveResult& result) {
    if (!(result.backward_error <= LARGEST_BACKWARD_ERROR))
        return format("The backward error %.1e is above %.0e: the matrix is too close to singular to be "
                      "solved in double precision. Check its scaling and constraints.",
                      result.backward_error, LARGEST_BACKWARD_ERROR);
    return format("The condition number of the matrix, about %.1e after scaling, leaves no digit of the "
                  "solution certain: the matrix is singular or nearly so. Check its constraints.",
                  result.condition);
}

/// What L D L^T alone finds out.
std::string pivots_of_both_signs(const vyr_factor_info& factor) {
    std::string text;
    text += format("  pivots             %12" PRId64 "   positive, %" PRId64 " negative, %" PRId64 " zero\n",
                   factor.positive, factor.negative, factor.zero);
    if (factor.delayed > 0) text += format("  columns passed on  %12" PRId64 "\n", factor.delayed);
    if (factor.perturbed > 0) text += format("  pivots replaced    %12" PRId64 "\n", factor.perturbed);
    return text;
}

} // namespace

bool accepted(const SolveResult& result) {
    return result.status == VYR_STATUS_OK && result.backward_error <= LARGEST_BACKWARD_ERROR &&
           !(result.condition > LARGEST_CONDITION);
}

std::string result_table(const SolveResult& result) {
    std::string text;
    text += format("  equations          %12" PRId32 "\n", result.n);
    text += format("  entries of A       %12" PRId32 "   lower triangle\n", result.nnz);
    text += format("  entries of L       %12" PRId64 "\n", result.analysis.factor_entries);
    text += format("  operations         %12.3g   to factorise\n", result.analysis.operations);
    text += format("  order and analyse  %12.3f s   %s\n", result.analysis.seconds_analyse,
                   ordering_name(result.analysis.ordering));
    text += format("  factorise          %12.3f s   %.1f GFLOP/s\n", result.seconds_factorise, rate(result));
    text += format("  solve              %12.3f s   %" PRId32 " right-hand side%s\n", result.seconds_solve,
                   result.n_rhs, result.n_rhs == 1 ? "" : "s");
    if (result.refinements > 0) text += format("  refinements        %12d\n", result.refinements);
    if (result.out_of_core)
        text += format("  factor files       %12" PRId64 "   %.1f MB written in %.3f s\n",
                       result.factor.files, result.factor.file_bytes * 1e-6, result.factor.seconds_files);
    if (result.factor.kind == VYR_KIND_INDEFINITE) text += pivots_of_both_signs(result.factor);
    text += format("  threads            %12d\n", result.factor.threads);
    text += format("  peak memory        %12.1f MB\n", static_cast<double>(result.peak_bytes) * 1e-6);
    text += format("  backward error     %12.1e\n", result.backward_error);
    if (!std::isnan(result.condition))
        text += format("  condition          %12.1e   estimated, after scaling\n", result.condition);
    return text;
}

std::string result_json(const SolveResult& result) {
    JsonObject json;
    json.add("n", std::int64_t{result.n})
        .add("nnz", std::int64_t{result.nnz})
        .add("nnz_factor", std::int64_t{result.analysis.factor_entries})
        .add("flops", result.analysis.operations)
        .add("seconds_analyse", result.analysis.seconds_analyse)
        .add("seconds_factorise", result.seconds_factorise)
        .add("seconds_solve", result.seconds_solve)
        .add("peak_bytes", static_cast<std::int64_t>(result.peak_bytes))
        .add("threads", std::int64_t{result.factor.threads})
        .add("refinements", std::int64_t{result.refinements})
        .add("backward_error", result.backward_error)
        .add("condition", result.condition)
        .add("status", std::int64_t{result.status});
    if (result.factor.kind == VYR_KIND_INDEFINITE)
        json.add("positive", result.factor.positive)
            .add("negative", result.factor.negative)
            .add("rank", result.factor.rank)
            .add("columns_delayed", result.factor.delayed)
            .add("pivots_replaced", result.factor.perturbed);
    if (result.out_of_core)
        json.add("files", std::int64_t{result.factor.files})
            .add("file_bytes", static_cast<std::int64_t>(result.factor.file_bytes))
            .add("seconds_files_written", result.factor.seconds_files);
    return json.text();
}

std::string failure_sentence(const SolveResult& result) {
    if (has_solution(result)) return accepted(result) ? "" : not_to_be_trusted(result);
    switch (result.status) {
    case VYR_STATUS_NOT_POSITIVE:
        return not_positive_definite(result);
    case VYR_STATUS_SINGULAR:
        return "No pivot could be found for some equation: " +
               (result.message.empty() ? "the matrix is singular" : result.message) +
               ". Check for constraints that repeat each other and for parts that nothing holds. If that is "
               "meant, use --zero-pivots.";
    case VYR_STATUS_TOO_LARGE:
    case VYR_STATUS_MEMORY:
        return out_of_memory(result);
    case VYR_STATUS_FILE:
        return "The factor files cannot be written or read (" + result.message +
               "). Check that the directory can be written to and that its disk is not full.";
    default:
        return format("The library ended with status %d: ", result.status) +
               (result.message.empty() ? vyr_status_text(result.status) : result.message) + ".";
    }
}

} // namespace vyr::tool
