#include "bench/compare.h"

#include <cmath>
#include <limits>

namespace vyr::bench {

namespace {

bool is_ours(const Record& result) {
    return result.string_or_empty("solver").starts_with("vyr");
}

bool same_problem(const Record& a, const Record& b) {
    return a.string_or_empty("matrix") == b.string_or_empty("matrix") &&
           a.number_or_nan("threads") == b.number_or_nan("threads") &&
           a.string_or_empty("storage") == b.string_or_empty("storage");
}

} // namespace

bool has_figures(const Record& result) {
    const std::string status = result.string_or_empty("status");
    return status == "ok" || status == "noisy";
}

void add_ratios(std::vector<Record>& results) {
    for (Record& ours : results) {
        if (!is_ours(ours) || !has_figures(ours)) continue;
        for (const std::string figure : COMPARED) {
            double best = std::numeric_limits<double>::infinity();
            for (const Record& peer : results)
                if (!is_ours(peer) && has_figures(peer) && same_problem(ours, peer))
                    best = std::fmin(best, peer.number_or_nan(figure));
            const double ratio = ours.number_or_nan(figure) / best;
            if (std::isfinite(best) && std::isfinite(ratio)) ours.set("ratio_" + figure, ratio);
        }
    }
}

} // namespace vyr::bench
