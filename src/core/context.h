// What a call needs beside its data.
#pragma once

#include "core/accounting.h"
#include "core/log.h"
#include "core/settings.h"
#include "core/statistics.h"
#include "core/status.h"

#include <atomic>

namespace vyr {

/// The first argument of every phase. Nothing global is read instead of it. One call at a time uses a
/// context; inside a call its threads only read it, or write under the factorization lock.
struct Context {
    explicit Context(Accounting& accounting) noexcept : memory(accounting) {}

    Settings settings;
    Statistics statistics;
    Log log;
    Accounting& memory;                        ///< of what this call allocates
    const std::atomic<bool>* cancel = nullptr; ///< the call ends soon after it has become true
    char reason[240] = ""; ///< one sentence on the last failure; empty: its status says it all
};

/// Shows a text when messages are on.
template <typename... Arguments>
void mf_message(const Context& context, const char* format, Arguments... arguments) noexcept {
    mf_message(context.log, format, arguments...);
}

/// Leaves the explaining sentence in the context and returns `status`.
[[gnu::format(printf, 3, 4)]] Status fail(Context& context, Status status, const char* format, ...) noexcept;

/// MEMORY, or the given status, with the size that could not be had.
Status out_of_memory(Context& context, Status status = Status::MEMORY) noexcept;

} // namespace vyr
