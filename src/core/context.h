// What a call needs beside its data.
#pragma once

#include "core/accounting.h"
#include "core/log.h"
#include "core/progress.h"
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
    Progress* progress = nullptr;              ///< null: nobody is told, and nobody can stop the call
    char reason[240] = ""; ///< one sentence on the last failure; empty: its status says it all
};

/// True when the call is to end soon; asked often, between pieces of work of some milliseconds.
inline bool mf_stop(const Context& context) noexcept {
    return context.progress != nullptr && context.progress->stop();
}

/// Adds finished work to the phase.
inline void mf_add_work(const Context& context, double units) noexcept {
    if (context.progress != nullptr) context.progress->add(units);
}

/// Begins a phase of `total` units of work.
inline void mf_begin_phase(const Context& context, int phase, double total) noexcept {
    if (context.progress != nullptr) context.progress->begin(phase, total);
}

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
