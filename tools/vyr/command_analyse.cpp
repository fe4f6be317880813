#include "tools/vyr/command_analyse.h"

#include "tools/vyr/format.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/library.h"
#include "tools/vyr/matrix_market.h"
#include "tools/vyr/printable.h"
#include "tools/vyr/process_facts.h"
#include "tools/vyr/ticker.h"

#include <cinttypes>
#include <cstdio>

namespace vyr::tool {

namespace {

struct Choice {
    std::int32_t ordering;
    const char* name;
};
constexpr Choice CHOICES[] = {{VYR_ORDERING_AUTOMATIC, "automatic"},
                              {VYR_ORDERING_METIS, "METIS"},
                              {VYR_ORDERING_DISSECTION, "dissection"},
                              {VYR_ORDERING_AMD, "AMD"},
                              {VYR_ORDERING_NATURAL, "natural"}};

/// A natural ordering can need more than any machine has; it is shown only up to this many operations.
constexpr double MOST_SHOWN_OPERATIONS = 1e16;

/// Operations a second of this machine's kernels: a cube of finite elements, factorised twice.
double measured_rate(std::int32_t threads) {
    const SparseMatrix cube = generate("elasticity3d", 14);
    const vyr_matrix matrix = library_matrix(cube);
    vyr_options options;
    vyr_options_default(&options, sizeof options);
    options.threads = threads;
    Analysis analysis;
    Factor factor;
    if (analysis.make(matrix, options) != VYR_STATUS_OK || factor.make(analysis, options) != VYR_STATUS_OK)
        return 0;
    double seconds = 0;
    for (int round = 0; round < 2; ++round) {
        if (vyr_factorise(factor.get(), &matrix) != VYR_STATUS_OK) return 0;
        seconds = factor.info().seconds_factorise;
    }
    return seconds > 0 ? analysis.info().operations / seconds : 0;
}

std::string row(const char* name, const vyr_analysis_info& info, double rate) {
    return format("  %-10s %14" PRId64 " %11.3g %10.1f %10.1f %9.3f %10.3f\n", name, info.factor_entries,
                  info.operations, info.peak_bytes * 1e-6, info.least_bytes * 1e-6, info.seconds_order,
                  rate > 0 ? info.operations / rate : 0.0);
}

} // namespace

CLI::App* add_analyse(CLI::App& app, AnalyseOptions& options) {
    CLI::App* command = app.add_subcommand("analyse", "Tell what solving with a matrix would cost");
    command->footer(
        "Shows for each ordering the entries of L, the operations, the memory at the peak in core\n"
        "and at the least out of core (MB), the seconds to order, and a prediction of the seconds\n"
        "to factorise, from the speed of the kernels measured for a moment.");
    command->add_option("A.mtx", options.matrix, "Matrix Market file: coordinate, real or integer, symmetric")
        ->option_text(" ")
        ->required();
    command->add_flag("--indefinite", options.indefinite, "A is not positive definite");
    command->add_option("--threads", options.threads, "Threads to use, default what OpenMP reports")
        ->option_text("T")
        ->check(CLI::Range(1, 4096));
    return command;
}

bool run_analyse(const AnalyseOptions& options) {
    const bool live = is_terminal(stdout);
    SparseMatrix a;
    {
        const Ticker ticker("read", live);
        a = read_symmetric(options.matrix);
    }
    const vyr_matrix matrix = library_matrix(a);
    const double rate = measured_rate(options.threads);
    std::printf("%s\n  equations %" PRId32 ", entries %" PRId32 " in the lower triangle\n\n",
                printable(options.matrix).c_str(), a.n, a.nnz());
    std::printf("  ordering     entries of L  operations    in core      least  to order  factorise\n");
    for (const Choice& choice : CHOICES) {
        vyr_options chosen;
        vyr_options_default(&chosen, sizeof chosen);
        chosen.kind = options.indefinite ? VYR_KIND_INDEFINITE : VYR_KIND_POSITIVE;
        chosen.ordering = choice.ordering;
        chosen.threads = options.threads;
        const Ticker ticker(choice.name, live);
        Analysis analysis;
        const vyr_status status = analysis.make(matrix, chosen);
        if (choice.ordering == VYR_ORDERING_NATURAL &&
            (status != VYR_STATUS_OK || analysis.info().operations > MOST_SHOWN_OPERATIONS))
            continue;
        if (status != VYR_STATUS_OK) {
            std::fprintf(stderr, "vyr: %s: %s\n", choice.name, analysis.message());
            return false;
        }
        std::fputs(row(choice.name, analysis.info(), rate).c_str(), stdout);
    }
    return true;
}

} // namespace vyr::tool
