// A factor as far as it is in memory: in passes of what is there at a time, one factor file after the other,
// then the nodes that never went to a file.
#pragma once

#include "core/context.h"
#include "core/factor.h"
#include "platform/platform.h"

#include <cstdint>

namespace vyr {

/// Hands the nodes of a factor out, pass by pass: no file holds a node before a descendant of it, and those
/// in core come last.
///
/// Borrows the read buffer of the factor while it lives. Counts the time spent reading. Threads: any number
/// with one factor at a time, each with passes of its own.
class FactorPasses {
public:
    FactorPasses(Context& context, const Factor& factor) noexcept
        : context_(context), factor_(factor), start_ms_(platform::clock_ms()) {}
    ~FactorPasses();
    FactorPasses(const FactorPasses&) = delete;
    FactorPasses& operator=(const FactorPasses&) = delete;

    /// Comes first. Returns 0, or MEMORY for the lists or the read buffer.
    [[nodiscard]] Status open() noexcept;

    /// Calls visit(s, block) for every node s that has a block: descendants first (`ascending`), or ancestors
    /// first. Nodes of a file that cannot be read are passed over. A block is there for its call alone.
    template <typename Visit>
    void visit(bool ascending, const Visit& visit) noexcept {
        const std::int32_t n_passes = factor_.files.count + 1;
        for (std::int32_t i = 0; i < n_passes; ++i) {
            const std::int32_t n_nodes = load(ascending ? i : n_passes - 1 - i);
            for (std::int32_t k = 0; k < n_nodes && !mf_stop(context_); ++k) {
                const std::int32_t s = list_[ascending ? k : n_nodes - 1 - k];
                visit(s, block_of_[s]);
            }
        }
    }

    /// Shows the share of the time since construction that went into reading, when there are files and
    /// messages are on. Returns FACTOR_FILE when a file could not be read.
    [[nodiscard]] Status finish() const noexcept;

private:
    /// Brings the nodes of a pass into memory and returns their number; none when its file cannot be read,
    /// which is remembered.
    [[nodiscard]] std::int32_t load(std::int32_t pass) noexcept;

    Context& context_;
    const Factor& factor_;
    Buffer<std::int32_t> work_;
    Buffer<const double*> block_of_;         ///< n_snodes; valid for the nodes of the loaded pass
    Buffer<char> buffer_;                    ///< the file of the loaded pass
    std::int32_t* list_ = nullptr;           ///< n_snodes: nodes of the loaded pass
    std::int32_t* node_of_column_ = nullptr; ///< n: node of each first pivot column, -1 elsewhere
    std::int32_t unread_file_ = -1;
    double start_ms_, reading_ms_ = 0;
};

/// One visit to all nodes; see FactorPasses::visit. Returns 0; MEMORY for the lists or a read buffer as large
/// as the largest file; FACTOR_FILE when a file could not be read, its nodes passed over.
template <typename Visit>
[[nodiscard]] Status mf_visit_nodes(Context& context, const Factor& factor, bool ascending,
                                    const Visit& visit) noexcept {
    FactorPasses passes(context, factor);
    if (const Status status = passes.open(); status != Status::OK) return status;
    passes.visit(ascending, visit);
    return passes.finish();
}

} // namespace vyr
