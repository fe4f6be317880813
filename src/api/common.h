// What the functions of vyr/solver.h share: statuses, structures that grow, the right to solve.
#pragma once

#include "api/handles.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vyr::api {

inline constexpr std::int32_t MOST_THREADS = 4096;
inline constexpr std::int32_t MOST_REFINEMENTS = 1000;
inline constexpr std::size_t MOST_STRUCTURE = 4096; ///< bytes of a host's structure, however new its header

/// The public status of an inner one.
vyr_status public_status(Status status) noexcept;

/// Reads a host's options of any size: what the host does not know keeps its default. ARGUMENT, with a
/// message, when one is out of range.
vyr_status take_options(const vyr_options* given, vyr_options& options, char (&message)[240]) noexcept;

/// The engine's view of a host's matrix. NULL or ARGUMENT with a message when it is not one.
vyr_status take_matrix(const vyr_matrix* matrix, InputMatrix& input, char (&message)[240]) noexcept;

/// Fills as much of a host's structure as it has room for, and zeros beyond. ARGUMENT when it does not tell
/// its size.
template <typename Info>
vyr_status give_info(const Info& info, Info* host) noexcept {
    const std::size_t size = host->size;
    if (size <= sizeof size || size > MOST_STRUCTURE) return VYR_STATUS_ARGUMENT;
    auto* bytes = reinterpret_cast<char*>(host);
    std::memset(bytes + sizeof size, 0, size - sizeof size);
    std::memcpy(bytes + sizeof size, reinterpret_cast<const char*>(&info) + sizeof size,
                std::min(size, sizeof info) - sizeof size);
    return VYR_STATUS_OK;
}

/// One call that solves with a factor: granted only when there is a factorization and nothing changes it.
class SolveGrant {
public:
    explicit SolveGrant(const vyr_factor* factor) noexcept
        : entry_(factor->calls, false), factor_(*factor), call_(memory_, factor->options) {
        call_.context.settings.directory = factor->directory;
        Settings& settings = call_.context.settings;
        settings.type = factor->solver.type;
        if (settings.n_threads == 0) settings.n_threads = mf_host_threads();
    }
    vyr_status status() const noexcept {
        if (!entry_.granted()) return VYR_STATUS_BUSY;
        return factor_.status == VYR_STATUS_OK ? VYR_STATUS_OK : VYR_STATUS_NOT_FACTORISED;
    }
    Context& context() noexcept { return call_.context; }
    /// The public status of what the call came to; the sentence on a failure goes to the host's log.
    vyr_status answer(Status status) noexcept {
        const Context& context = call_.context;
        if (status != Status::OK && context.reason[0] != '\0') mf_print(context.log, "%s", context.reason);
        return public_status(status);
    }

private:
    CallList::Entry entry_;
    const vyr_factor& factor_;
    Accounting memory_;
    HostCall call_;
};

/// True when nrhs columns with this leading dimension are no block of the factor's order.
inline bool bad_columns(const vyr_factor& factor, std::int32_t nrhs, std::int64_t ld) noexcept {
    return nrhs < 1 || ld < factor.solver.analysis.canonical.n || ld > INT64_MAX / 8 / nrhs;
}

} // namespace vyr::api
