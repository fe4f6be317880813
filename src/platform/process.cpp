#include "platform/process.h"

#include "platform/blas_build.h"
#include "platform/platform.h"
#include "platform/workplaces.h"

#include <atomic>
#include <mutex>
#include <utility>

#ifndef _WIN32
#include <pthread.h>
#endif

namespace vyr::platform {

namespace {

std::mutex ordering_mutex;
thread_local void* running_call = nullptr;
std::atomic<const char*> kernels{nullptr};
thread_local int tried = 0;
std::mutex claim_mutex;
int n_claimed = 0;
int n_mapped = 0;
std::atomic<bool> parent_had_threads{false}; ///< of the process at its last fork; in the child its parent
std::atomic<bool> lost{false};

#ifndef _WIN32
/// A child process has a copy of the forking thread alone. The locks are taken before, so that none stays
/// locked in the child by a thread that is not there.
[[maybe_unused]] const int watches_forks = pthread_atfork(
    [] {
        ordering_mutex.lock();
        claim_mutex.lock();
        parent_had_threads = thread_count() != 1;
    },
    [] {
        claim_mutex.unlock();
        ordering_mutex.unlock();
    },
    [] {
        if (parent_had_threads) lost = true;
        claim_mutex.unlock();
        ordering_mutex.unlock();
    });
#endif

} // namespace

void* ordering_call() noexcept {
    return running_call;
}

void* exchange_ordering_call(void* call) noexcept {
    return std::exchange(running_call, call);
}

const char* wanted_kernels() noexcept {
    return kernels;
}

void want_kernels(const char* name) noexcept {
    kernels = name;
}

int& tried_threads() noexcept {
    return tried;
}

bool threads_were_lost() noexcept {
    return lost;
}

ClaimLock::ClaimLock() noexcept {
    claim_mutex.lock();
}

ClaimLock::~ClaimLock() {
    claim_mutex.unlock();
}

int& ClaimLock::claimed() const noexcept {
    return n_claimed;
}

int& ClaimLock::mapped() const noexcept {
    return n_mapped;
}

OrderingLock::OrderingLock() noexcept {
    ordering_mutex.lock();
}

OrderingLock::~OrderingLock() {
    ordering_mutex.unlock();
}

} // namespace vyr::platform

namespace vyr::blas {

const Findings& findings() noexcept {
    static const Findings once = examine();
    return once;
}

} // namespace vyr::blas
