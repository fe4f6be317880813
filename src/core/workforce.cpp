#include "core/workforce.h"

#include "platform/blas_build.h"
#include "platform/workplaces.h"

#include <omp.h>

#include <algorithm>

namespace vyr {

namespace {

/// Why a team cannot be had; null when it can.
const char* obstacle(std::int32_t n_threads) noexcept {
    if (platform::threads_were_lost()) return "this process was forked off one with several threads";
    return platform::can_make_threads(n_threads - 1) ? nullptr : "no more threads can be made";
}

std::int32_t one_thread(Context& context, const char* why) noexcept {
    mf_message(context, "\r\nWARNING!!!\tOne thread instead of several: %s.\r\n", why);
    return 1;
}

} // namespace

std::int32_t mf_team(Context& context, std::int32_t n_threads) noexcept {
    const char* const why = n_threads > 1 ? obstacle(n_threads) : nullptr;
    return why == nullptr ? n_threads : one_thread(context, why);
}

bool mf_cores_suffice() noexcept {
    return platform::claimed_calls() <= 2 * omp_get_num_procs(); // a team claims two calls a thread
}

Workforce::Workforce(Context& context, std::int32_t n_threads) noexcept
    : n_threads_(std::clamp(n_threads, std::int32_t{1}, std::int32_t{platform::MOST_CALLS})) {
    const blas::Findings& blas = blas::findings();
    if (blas.refusal != nullptr) {
        status_ = fail(context, Status::BLAS, "%s", blas.refusal);
        return;
    }
    n_threads_ = mf_team(context, n_threads_);
    if (n_threads_ > 1 && blas.warning != nullptr)
        mf_message(context, "\r\nWARNING!!!\t%s.\r\n", blas.warning);
    // A call that the BLAS shares among threads needs memory for each of them, and the caller has its own.
    n_claimed_ = n_threads_ == 1 ? 1 : std::min(2 * n_threads_, platform::MOST_CALLS);
    if (!platform::claim_calls(n_claimed_)) {
        if (n_claimed_ == 1 || !platform::claim_calls(1)) {
            n_claimed_ = 0;
            status_ = fail(context, Status::MEMORY, "the address space has no room for the BLAS to work in");
            return;
        }
        n_claimed_ = 1;
        n_threads_ = one_thread(context, "the address space has no room for several");
    }
}

Workforce::~Workforce() {
    platform::return_calls(n_claimed_);
}

} // namespace vyr
