#include "tools/vyr/command_pivots.h"

#include "tools/vyr/matrix_market.h"
#include "tools/vyr/option_checks.h"
#include "tools/vyr/pivots.h"
#include "tools/vyr/printable.h"
#include "tools/vyr/process_facts.h"
#include "tools/vyr/ticker.h"

#include <cstdio>

namespace vyr::tool {

CLI::App* add_pivots(CLI::App& app, PivotsOptions& options) {
    CLI::App* command =
        app.add_subcommand("pivots", "Factorise and show the extreme pivots and what stopped it");
    command->footer("Shows the equations with the smallest and largest pivots, and those that stopped the\n"
                    "factorization: the degrees of freedom a model does not hold.");
    command->add_option("A.mtx", options.matrix, "Matrix Market file: coordinate, real or integer, symmetric")
        ->option_text(" ")
        ->required();
    command->add_option("--min", options.smallest, "Fail at a pivot that is not above X, default 0")
        ->option_text("X")
        ->check(CLI::NonNegativeNumber)
        ->check(finite_number());
    command
        ->add_option("--growth", options.growth,
                     "Fail when the largest pivot is more than X times the smallest; off when X <= 1")
        ->option_text("X")
        ->check(finite_number());
    command->add_option("--count", options.count, "Extreme pivots to show at either end, default 5")
        ->option_text("N")
        ->check(CLI::Range(1, 1000000));
    command->add_option("--threads", options.threads, "Threads to use, default what OpenMP reports")
        ->option_text("T")
        ->check(CLI::Range(1, 4096));
    return command;
}

bool run_pivots(const PivotsOptions& options) {
    const bool live = is_terminal(stdout);
    SparseMatrix a;
    {
        const Ticker ticker("read", live);
        a = read_symmetric(options.matrix);
    }
    const PivotResult result = find_pivots(a, options.smallest, options.growth, options.threads, live);
    std::printf("%s\n%s", printable(options.matrix).c_str(), pivots_text(result, options.count).c_str());
    return accepted(result);
}

} // namespace vyr::tool
