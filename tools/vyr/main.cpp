// The command line: parses options, calls the library of the tool, turns outcomes into exit codes.
#include "tools/vyr/command_analyse.h"
#include "tools/vyr/command_pivots.h"
#include "tools/vyr/environment.h"
#include "tools/vyr/format.h"
#include "tools/vyr/generators.h"
#include "tools/vyr/indefinite_options.h"
#include "tools/vyr/matrix_market.h"
#include "tools/vyr/norms.h"
#include "tools/vyr/option_checks.h"
#include "tools/vyr/printable.h"
#include "tools/vyr/process_facts.h"
#include "tools/vyr/run_report.h"
#include "tools/vyr/solve_report.h"
#include "tools/vyr/ticker.h"

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace vyr::tool;

enum ExitCode { EXIT_SOLVED = 0, EXIT_NOT_SOLVED = 1, EXIT_BAD_INPUT = 2 };

struct Options {
    std::string matrix, rhs, solution, report_directory;
    int n_rhs = 1;
    std::string ordering = "automatic";
    bool json = false;
    double memory_limit_mb = 0; ///< 0: none
    SolveOptions solve;

    std::string kind, generated;
    std::int32_t side = 0;
};

CLI::App* add_solve(CLI::App& app, Options& options) {
    CLI::App* command = app.add_subcommand("solve", "Solve A x = b, A symmetric");
    command->add_option("A.mtx", options.matrix, "Matrix Market file: coordinate, real or integer, symmetric")
        ->option_text(" ")
        ->required();
    CLI::Option* rhs =
        command->add_option("--rhs", options.rhs,
                            "Matrix Market file of right-hand sides. Without it they are made from known\n"
                            "solutions: all ones for the first, 1 + (i k mod 8) / 8 in row i of column k,\n"
                            "both counted from 0");
    rhs->option_text("b.mtx");
    command->add_option("--nrhs", options.n_rhs, "Right-hand sides to make, default 1; not with --rhs")
        ->option_text("K")
        ->check(CLI::Range(1, 1000000))
        ->excludes(rhs);
    command->add_option("--output", options.solution, "Write the solutions to this Matrix Market file")
        ->option_text("x.mtx")
        ->check(file_name());
    add_indefinite(*command, options.solve);
    command
        ->add_option("--ordering", options.ordering, "automatic (default), metis, amd, dissection or natural")
        ->option_text("NAME")
        ->check(CLI::IsMember({"automatic", "metis", "amd", "dissection", "natural"}));
    command->add_option("--threads", options.solve.threads, "Threads to use, default what OpenMP reports")
        ->option_text("T")
        ->check(CLI::Range(1, 4096));
    command->add_option("--repeat", options.solve.repeat, "Factorise and solve N times and report medians")
        ->option_text("N")
        ->check(CLI::Range(1, 1000000));
    command->add_option("--report", options.report_directory, "Write the library's statistics report to DIR")
        ->option_text("DIR")
        ->check(CLI::ExistingDirectory);
    CLI::Option* out_of_core =
        command->add_option("--out-of-core", options.solve.directory, "Keep the factor in files in DIR")
            ->option_text("DIR")
            ->check(CLI::ExistingDirectory);
    command->add_option("--memory-limit", options.memory_limit_mb, "Memory to do with; needs --out-of-core")
        ->option_text("MB")
        ->check(CLI::PositiveNumber)
        ->check(finite_number())
        ->needs(out_of_core);
    command->add_flag("--condition", options.solve.condition,
                      "Estimate the condition number, which takes a few solves; without this only when the\n"
                      "pivots make the solution doubtful");
    command->add_flag("--json", options.json, "Print one JSON object instead of the table");
    return command;
}

CLI::App* add_generate(CLI::App& app, Options& options) {
    std::vector<std::string> names;
    std::string kinds = "Kinds:";
    for (const Generator& generator : generators()) {
        names.emplace_back(generator.name);
        kinds += "\n  " + names.back() + ": " + generator.meaning;
    }
    CLI::App* command = app.add_subcommand("generate", "Write a test matrix");
    command->add_option("KIND", options.kind, "Kind of matrix")
        ->option_text(" ")
        ->required()
        ->check(CLI::IsMember(names));
    command->add_option("N", options.side, "Points, or elements, a side")
        ->option_text(" ")
        ->required()
        ->check(CLI::PositiveNumber);
    command->add_option("-o,--output", options.generated, "Matrix Market file to write (required)")
        ->option_text("A.mtx")
        ->required()
        ->check(file_name());
    command->footer(kinds);
    return command;
}

std::int32_t ordering_of(const std::string& name) {
    if (name == "metis") return VYR_ORDERING_METIS;
    if (name == "amd") return VYR_ORDERING_AMD;
    if (name == "dissection") return VYR_ORDERING_DISSECTION;
    return name == "natural" ? VYR_ORDERING_NATURAL : VYR_ORDERING_AUTOMATIC;
}

/// The solution must not take the place of what it is made from.
void refuse_overwriting(const Options& options) {
    for (const std::string& name : {options.matrix, options.rhs}) {
        std::error_code ignored;
        if (options.solution.empty() || name.empty()) continue;
        const std::string input = name == "-" ? "/dev/stdin" : name;
        if (input == options.solution || std::filesystem::equivalent(input, options.solution, ignored))
            throw FileError(options.solution + ": the output would overwrite the input");
    }
}

/// The right-hand sides and the solutions are in memory as a whole; of an indefinite matrix the refined ones,
/// too.
void refuse_too_many_columns(const Options& options, std::int32_t n) {
    const double blocks = options.solve.kind == VYR_KIND_POSITIVE ? 2 : 3;
    const double bytes = blocks * 8.0 * n * options.n_rhs, available = static_cast<double>(available_bytes());
    if (bytes > available)
        throw std::length_error(
            format("%d right-hand sides of %d equations take %.1f MB; there are %.1f MB of "
                   "memory. Use a smaller --nrhs.",
                   options.n_rhs, n, bytes * 1e-6, available * 1e-6));
}

int run_solve(const Options& options) {
    refuse_overwriting(options);
    const bool live = !options.json && is_terminal(stdout);
    SparseMatrix a;
    DenseMatrix b, x;
    {
        const Ticker ticker("read", live);
        a = read_symmetric(options.matrix);
        if (options.rhs.empty()) refuse_too_many_columns(options, a.n);
        b = options.rhs.empty() ? known_right_hand_sides(a, options.n_rhs) : read_dense(options.rhs, a.n);
    }
    SolveOptions chosen = options.solve;
    chosen.ordering = ordering_of(options.ordering);
    chosen.live = live;
    chosen.memory_limit = options.memory_limit_mb * 1e6;
    const SolveResult result = solve(a, b, x, chosen);
    const bool solved = result.status == VYR_STATUS_OK || result.status == VYR_STATUS_INACCURATE;
    if (options.json)
        std::fputs(result_json(result).c_str(), stdout);
    else if (solved)
        std::printf("%s\n%s", printable(options.matrix).c_str(), result_table(result).c_str());
    if (solved && !options.solution.empty())
        write_dense(options.solution, x, "solution of " + options.matrix);
    if (!options.report_directory.empty()) write_run_report(options.report_directory, result);
    const std::string sentence = failure_sentence(result);
    if (!sentence.empty()) std::fprintf(stderr, "vyr: %s\n", printable(sentence).c_str());
    return accepted(result) ? EXIT_SOLVED : EXIT_NOT_SOLVED;
}

int run_generate(const Options& options) {
    const Ticker ticker("generate", is_terminal(stdout));
    const SparseMatrix a = generate(options.kind, options.side);
    write_symmetric(options.generated, a,
                    "vyr generate " + options.kind + " " + std::to_string(options.side));
    return EXIT_SOLVED;
}

int run(int argc, char** argv) {
    CLI::App app("Sparse direct solver for large symmetric systems", "vyr");
    app.set_version_flag("--version", "vyr 2.2");
    app.require_subcommand(1);
    app.footer("Exit codes: 0 solved; 1 the system could not be solved; 2 wrong options or a file that "
               "cannot be used.");
    Options options;
    const CLI::App* solve_command = add_solve(app, options);
    add_generate(app, options);
    PivotsOptions pivots_options;
    const CLI::App* pivots_command = add_pivots(app, pivots_options);
    AnalyseOptions analyse_options;
    const CLI::App* analyse_command = add_analyse(app, analyse_options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return app.exit(error); // help or version
        std::fprintf(stderr, "vyr: %s\nRun with --help for more information.\n",
                     printable(error.what()).c_str());
        return EXIT_BAD_INPUT;
    }
    if (analyse_command->parsed()) return run_analyse(analyse_options) ? EXIT_SOLVED : EXIT_NOT_SOLVED;
    if (pivots_command->parsed()) return run_pivots(pivots_options) ? EXIT_SOLVED : EXIT_NOT_SOLVED;
    return solve_command->parsed() ? run_solve(options) : run_generate(options);
}

int fail(const char* text, ExitCode code) {
    std::fprintf(stderr, "vyr: %s\n", printable(text).c_str());
    return code;
}

} // namespace

int main(int argc, char** argv) {
#ifdef SIGXFSZ
    std::signal(SIGXFSZ, SIG_IGN); // a file that may not grow is a failed write
#endif
    try {
        restart_with_settings(argv);
        const int code = run(argc, argv);
        return std::fflush(stdout) == 0 ? code : fail("standard output cannot be written", EXIT_BAD_INPUT);
    } catch (const std::bad_alloc&) {
        return fail(
            "Out of memory while reading or writing. Use a machine with more memory or a smaller problem.",
            EXIT_NOT_SOLVED);
    } catch (const std::exception& error) {
        return fail(error.what(), EXIT_BAD_INPUT);
    }
}
