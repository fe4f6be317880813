#include "platform/workplaces.h"

#include "platform/platform.h"
#include "platform/process.h"

#include <algorithm>

#include <pthread.h>

// OpenBLAS's working memory. Other builds of BLAS do not have these.
extern "C" [[gnu::weak]] void* blas_memory_alloc(int position);
extern "C" [[gnu::weak]] void blas_memory_free(void* buffer);

namespace vyr::platform {

namespace {

/// Address space that OpenBLAS maps for one call at a time.
constexpr std::size_t CALL_BYTES = std::size_t{128} << 20;

/// The thread that makes the next one and waits for it, so that all are there at a time. Answers `left` when
/// that went well, otherwise null.
void* make_next(void* left) noexcept {
    int& n = *static_cast<int*>(left);
    if (n == 0) return left;
    --n;
    pthread_t next;
    if (pthread_create(&next, nullptr, make_next, left) != 0) return nullptr;
    void* answer = nullptr;
    pthread_join(next, &answer);
    return answer;
}

/// Maps what `n` calls at a time need, whatever other threads hold at the moment.
bool map_calls(int n) noexcept {
    void* const trial = page_alloc(static_cast<std::size_t>(n) * CALL_BYTES);
    if (trial == nullptr) return false;
    (void)page_free(trial);
    if (blas_memory_alloc == nullptr || blas_memory_free == nullptr) return true;
    void* buffers[MOST_CALLS];
    for (int i = 0; i < n; ++i) buffers[i] = blas_memory_alloc(0);
    for (int i = 0; i < n; ++i) blas_memory_free(buffers[i]);
    return true;
}

} // namespace

bool can_make_threads(int n) noexcept {
    int& tried = tried_threads();
    if (n <= tried) return true;
    int left = n;
    if (make_next(&left) == nullptr) return false;
    tried = n;
    return true;
}

bool claim_calls(int n) noexcept {
    const ClaimLock claims;
    const int wanted = std::min(claims.claimed() + n, MOST_CALLS);
    if (wanted > claims.mapped() && !map_calls(wanted)) return false;
    claims.mapped() = std::max(claims.mapped(), wanted);
    claims.claimed() += n;
    return true;
}

void return_calls(int n) noexcept {
    const ClaimLock claims;
    claims.claimed() -= n;
}

int claimed_calls() noexcept {
    const ClaimLock claims;
    return claims.claimed();
}

} // namespace vyr::platform
