#include "numeric/phases.h"
#include "platform/files.h"

#include <cinttypes>
#include <cstdio>

namespace vyr {

void mf_dump_factor(const Factor& factor) noexcept {
    const Analysis& analysis = *factor.analysis;
    std::int64_t n_entries = 0;
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const mf_snode& node = analysis.snodes[s];
        if (factor.block(s) != nullptr)
            n_entries += node.n_entries() - std::int64_t{node.npiv} * (node.npiv - 1) / 2;
    }
    platform::OutputFile output;
    if (!output.open("mf_lu_0.mtx", "w")) return;
    const platform::FileSizeSignalOff off;
    std::FILE* const file = output.stream();
    std::fprintf(file,
                 "%%%%MatrixMarket matrix coordinate real general\n%" PRId32 " %" PRId32 " %" PRId64 "\n",
                 analysis.n, analysis.n, n_entries);
    for (std::int32_t s = 0; s < analysis.n_snodes; ++s) {
        const mf_snode& node = analysis.snodes[s];
        if (factor.block(s) == nullptr) continue;
        for (std::int32_t c = 0; c < node.n_rows(); ++c)
            for (std::int32_t k = 0; k < node.npiv && k <= c; ++k)
                std::fprintf(file, "%" PRId32 " %" PRId32 " %.17g\n", node.rows[k] + 1, node.rows[c] + 1,
                             factor.block(s)[k + std::int64_t{c} * node.npiv]);
    }
    (void)output.commit();
}

} // namespace vyr
