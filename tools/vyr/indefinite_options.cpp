#include "tools/vyr/indefinite_options.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace vyr::tool {

namespace {

/// An option whose value is one of `names`, which stand in the order of the library's codes.
CLI::Option* add_choice(CLI::App& command, const char* option, const char* meaning,
                        const std::vector<std::string>& names, std::int32_t& code) {
    const auto choose = [names, &code](const std::string& name) {
        code = static_cast<std::int32_t>(std::find(names.begin(), names.end(), name) - names.begin());
    };
    return command.add_option_function<std::string>(option, choose, meaning)
        ->option_text("NAME")
        ->check(CLI::IsMember(names));
}

} // namespace

void add_indefinite(CLI::App& command, SolveOptions& chosen) {
    command.add_flag_callback(
        "--indefinite", [&chosen] { chosen.kind = VYR_KIND_INDEFINITE; },
        "A is not positive definite: eigenvalues of both signs, zeros on the diagonal");
    command.add_flag_callback(
        "--automatic", [&chosen] { chosen.kind = VYR_KIND_AUTOMATIC; },
        "As --indefinite, but only when A is not positive definite");
    const std::array choices = {
        add_choice(command, "--matching", "Equations eliminated in pairs: automatic (default), on or off",
                   {"automatic", "on", "off"}, chosen.matching),
        add_choice(command, "--scaling",
                   "Of A before it is factorised: automatic (default), none, norm or matching",
                   {"automatic", "none", "norm", "matching"}, chosen.scaling),
        command.add_flag_callback(
            "--static-pivoting", [&chosen] { chosen.pivoting = VYR_PIVOTING_STATIC; },
            "Replace pivots that are too small rather than pass columns on: the factor takes no\n"
            "more memory than foretold, and refinement makes up for it"),
        command
            .add_option("--pivot-share", chosen.pivot_share,
                        "Least share of its column that a pivot has, at most 0.5, default 0.01")
            ->option_text("S")
            ->check(CLI::Range(1e-16, 0.5)),
        command.add_flag("--zero-pivots", chosen.zero_pivots,
                         "A may be singular: zero pivots are left out, and b is one that has solutions")};
    command.final_callback([choices, &chosen] {
        if (chosen.kind != VYR_KIND_POSITIVE) return;
        for (const CLI::Option* choice : choices)
            if (choice->count() > 0)
                throw CLI::RequiresError(choice->get_name(), "--indefinite or --automatic");
    });
}

} // namespace vyr::tool
