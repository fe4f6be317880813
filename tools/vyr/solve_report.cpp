#include "tools/vyr/solve_report.h"

#include "tools/vyr/format.h"
#include "tools/vyr/json_object.h"

#include <cinttypes>
#include <cstdio>

namespace vyr::tool {

namespace {

double rate(const SolveResult& result) {
    return result.seconds_factorise > 0 ? result.flops / result.seconds_factorise * 1e-9 : 0.0;
}

std::string not_positive_definite(const SolveResult& result) {
    std::string text = "The matrix is not positive definite";
    if (result.failed_equation > 0) {
        text +=
            format(": the pivot of equation %" PRId32 " is %g", result.failed_equation, result.failed_pivot);
        if (result.failed_equations > 1)
            text += format(" (and %" PRId32 " more failed)", result.failed_equations - 1);
    }
    return text + ". Check that row of the matrix, counted from 1, and the constraints that hold the model: "
                  "a free body or a negative diagonal entry ends like this. If it is meant to be "
                  "indefinite, use --indefinite.";
}

std::string out_of_memory(const SolveResult& result) {
    if (result.files_unwritable)
        return "The factor files cannot be written, and there is no memory to go on without them. Check that "
               "the directory can be written to and that its disk is not full.";
    if (result.least_limit_bytes > 0)
        return format("The memory limit is too small. Out of core this matrix needs about %.0f MB.",
                      result.least_limit_bytes * 1e-6);
    std::string text = "Out of memory";
    if (result.bytes_needed > 0)
        text += format(": a block of %.1f MB was needed", result.bytes_needed * 1e-6);
    return text + ". Close other programs, use a machine with more memory, or solve a smaller problem.";
}

} // namespace

bool accepted(const SolveResult& result) {
    return result.status == Status::OK && result.backward_error <= LARGEST_BACKWARD_ERROR;
}

std::string result_table(const SolveResult& result) {
    std::string text;
    text += format("  equations          %12" PRId32 "\n", result.n);
    text += format("  entries of A       %12" PRId32 "   lower triangle\n", result.nnz);
    text += format("  entries of L       %12" PRId64 "\n", result.nnz_factor);
    text += format("  operations         %12.3g   to factorise\n", result.flops);
    text += format("  order and analyse  %12.3f s\n", result.seconds_analyse);
    text += format("  factorise          %12.3f s   %.1f GFLOP/s\n", result.seconds_factorise, rate(result));
    text += format("  solve              %12.3f s   %" PRId32 " right-hand side%s\n", result.seconds_solve,
                   result.n_rhs, result.n_rhs == 1 ? "" : "s");
    if (result.refinements > 0) text += format("  refinements        %12d\n", result.refinements);
    if (result.out_of_core)
        text += format("  factor files       %12" PRId32 "   %.1f MB written in %.3f s\n", result.n_files,
                       result.file_bytes * 1e-6, result.seconds_written);
    text += format("  threads            %12d\n", result.threads);
    text += format("  peak memory        %12.1f MB\n", static_cast<double>(result.peak_bytes) * 1e-6);
    text += format("  backward error     %12.1e\n", result.backward_error);
    return text;
}

std::string result_json(const SolveResult& result) {
    JsonObject json;
    json.add("n", std::int64_t{result.n})
        .add("nnz", std::int64_t{result.nnz})
        .add("nnz_factor", result.nnz_factor)
        .add("flops", result.flops)
        .add("seconds_analyse", result.seconds_analyse)
        .add("seconds_factorise", result.seconds_factorise)
        .add("seconds_solve", result.seconds_solve)
        .add("peak_bytes", static_cast<std::int64_t>(result.peak_bytes))
        .add("threads", std::int64_t{result.threads})
        .add("refinements", std::int64_t{result.refinements})
        .add("backward_error", result.backward_error)
        .add("status", std::int64_t{code(result.status)});
    if (result.out_of_core)
        json.add("files", std::int64_t{result.n_files})
            .add("file_bytes", static_cast<std::int64_t>(result.file_bytes))
            .add("seconds_files_written", result.seconds_written);
    return json.text();
}

std::string failure_sentence(const SolveResult& result) {
    switch (result.status) {
    case Status::OK:
        if (accepted(result)) return "";
        return format(
            "The backward error %.1e is above %.0e: the matrix is too close to singular to be solved "
            "in double precision. Check its scaling and constraints.",
            result.backward_error, LARGEST_BACKWARD_ERROR);
    case Status::NOT_SPD:
    case Status::SMALL_PIVOT:
        return not_positive_definite(result);
    case Status::ILL_CONDITIONED:
        return "No pivot could be found for some equation: the matrix is singular, or has more zeros on its "
               "diagonal than can be paired with other equations. Check for constraints that repeat each "
               "other "
               "and for parts that nothing holds; else put a small number on the zero diagonal entries.";
    case Status::FACTOR_STORAGE:
    case Status::MEMORY:
        return out_of_memory(result);
    case Status::BUFFER:
        return "The machine has too little free memory even for a part of the factor at a time. Close other "
               "programs, use a machine with more memory, or solve a smaller problem.";
    case Status::NAN_VALUE:
        return "The matrix holds a value that is not a number. Check the program that wrote it.";
    case Status::PLATFORM:
        return "The operating system is too old for this library. Use a newer one.";
    default:
        return format("The library ended with status %d: %s.", code(result.status),
                      status_text(result.status));
    }
}

} // namespace vyr::tool
