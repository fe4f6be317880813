#include "bench/table.h"

#include "bench/compare.h"
#include "tools/vyr/format.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <iterator>

namespace vyr::bench {

namespace {

using tool::format;

/// Three significant digits, without an exponent.
std::string figure(double value) {
    if (!std::isfinite(value)) return "–";
    if (value == 0) return "0";
    const int decimals = 2 - static_cast<int>(std::floor(std::log10(std::fabs(value))));
    return format("%.*f", std::clamp(decimals, 0, 7), value);
}

std::string row(const std::vector<std::string>& cells) {
    std::string text = "|";
    for (const std::string& cell : cells) text += " " + cell + " |";
    return text + "\n";
}

/// Two columns of words, then figures.
std::string head(const std::vector<std::string>& cells) {
    std::string text = row(cells) + "|";
    for (std::size_t i = 0; i < cells.size(); ++i) text += i < 2 ? "---|" : "---:|";
    return text + "\n";
}

std::string figures_table(const std::vector<Record>& results) {
    std::string text =
        head({"matrix", "solver", "n", "analyse s", "first s", "factorise s", "GFLOP/s", "of dgemm %",
              "files s", "solve 1 s", "solve 16 s", "total s", "peak MB", "backward error"});
    for (const Record& result : results) {
        std::vector<std::string> cells = {result.string_or_empty("matrix"), result.string_or_empty("solver")};
        const std::string status = result.string_or_empty("status");
        if (!has_figures(result)) {
            cells.push_back(status);
            cells.resize(14);
            text += row(cells);
            continue;
        }
        if (status != "ok") cells[1] += " (" + status + ")";
        cells.push_back(format("%.0f", result.number_or_nan("n")));
        for (const char* name : {"seconds_analyse", "seconds_first", "seconds_factorise", "gflops"})
            cells.push_back(figure(result.number_or_nan(name)));
        cells.push_back(figure(100 * result.number_or_nan("gflops") / result.number_or_nan("dgemm_gflops")));
        for (const char* name : {"seconds_files", "seconds_solve1", "seconds_solve16", "seconds_total"})
            cells.push_back(figure(result.number_or_nan(name)));
        cells.push_back(figure(1e-6 * result.number_or_nan("peak_bytes")));
        cells.push_back(format("%.1e", result.number_or_nan("backward_error")));
        text += row(cells);
    }
    return text;
}

std::string ratios_table(const std::vector<Record>& results) {
    std::string rows;
    for (const Record& result : results) {
        std::vector<std::string> cells = {result.string_or_empty("matrix"), result.string_or_empty("solver")};
        bool any = false;
        for (const char* name : COMPARED) {
            const double* const ratio = result.number(std::string("ratio_") + name);
            cells.push_back(ratio != nullptr ? format("%.2f", *ratio) : "–");
            any = any || ratio != nullptr;
        }
        if (any) rows += row(cells);
    }
    if (rows.empty()) return "";
    return "\nOurs over the better peer; below 1 is better.\n\n" +
           head({"matrix", "solver", "analyse", "factorise", "first", "solve 1", "solve 16", "total",
                 "memory"}) +
           rows;
}

} // namespace

std::string markdown(const Findings& findings) {
    const Record& setting = findings.setting;
    std::string text = setting.string_or_empty("processor") +
                       format(", %.0f processors, OpenBLAS kernels ", setting.number_or_nan("processors")) +
                       setting.string_or_empty("kernels") + ", wait policy " +
                       setting.string_or_empty("omp_wait");
    for (const char* solver : {"cholmod", "mumps"})
        if (const std::string version = setting.string_or_empty(solver); !version.empty())
            text += ", " + version;
    if (setting.string_or_empty("busy_core") == "yes") text += "; one processor kept busy by another process";
    text += format(". Medians of %.0f rounds.\n", setting.number_or_nan("rounds"));

    std::vector<double> threads;
    for (const Record& result : findings.results)
        if (const double count = result.number_or_nan("threads"); threads.empty() || threads.back() != count)
            threads.push_back(count);
    for (const double count : threads) {
        std::vector<Record> group;
        std::copy_if(findings.results.begin(), findings.results.end(), std::back_inserter(group),
                     [&](const Record& result) { return result.number_or_nan("threads") == count; });
        text += format("\n### %.0f thread%s, dgemm %s GFLOP/s\n\n", count, count == 1 ? "" : "s",
                       figure(group.front().number_or_nan("dgemm_gflops")).c_str());
        text += figures_table(group) + ratios_table(group);
    }
    return text;
}

std::string json(const Findings& findings) {
    std::string text = "{\n\"setting\": " + findings.setting.text() + ",\n\"results\": [";
    const char* separator = "\n";
    for (const Record& result : findings.results) {
        text += separator + result.text();
        separator = ",\n";
    }
    return text + "\n]\n}\n";
}

} // namespace vyr::bench
