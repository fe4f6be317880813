// A library to preload that tells at the end of a program how long each BLAS and LAPACK routine ran:
//
//     LD_PRELOAD=build/bench/lib/libblas_times.so build/bench/bin/vyr solve A.mtx
//
// The seconds are those of all threads together. A routine that another one calls inside OpenBLAS counts as
// part of that one.
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>

#include <dlfcn.h>

namespace {

struct Routine {
    const char* name;
    void* next = dlsym(RTLD_NEXT, name);
    std::atomic<std::int64_t> calls{0}, nanoseconds{0};

    ~Routine() {
        if (calls != 0)
            std::fprintf(stderr, "%-8s %10lld calls %9.3f s\n", name, static_cast<long long>(calls),
                         1e-9 * static_cast<double>(nanoseconds));
    }
};

template <typename... Arguments>
void pass_on(Routine& routine, Arguments... arguments) {
    const auto start = std::chrono::steady_clock::now();
    reinterpret_cast<void (*)(Arguments...)>(routine.next)(arguments...);
    const std::chrono::nanoseconds spent = std::chrono::steady_clock::now() - start;
    routine.calls.fetch_add(1, std::memory_order_relaxed);
    routine.nanoseconds.fetch_add(spent.count(), std::memory_order_relaxed);
}

} // namespace

// Every argument of these routines is an address.
#define P(i) const void* a##i
#define TIMED(name, parameters, ...)                                                                         \
    extern "C" void name parameters {                                                                        \
        static Routine routine{#name};                                                                       \
        pass_on(routine, __VA_ARGS__);                                                                       \
    }

TIMED(dgemm_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11), P(12), P(13)), a1, a2, a3,
      a4, a5, a6, a7, a8, a9, a10, a11, a12, a13)
TIMED(dsyrk_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10)), a1, a2, a3, a4, a5, a6, a7, a8,
      a9, a10)
TIMED(dtrsm_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11)), a1, a2, a3, a4, a5, a6,
      a7, a8, a9, a10, a11)
TIMED(dpotrf_, (P(1), P(2), P(3), P(4), P(5)), a1, a2, a3, a4, a5)
TIMED(dgemv_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11)), a1, a2, a3, a4, a5, a6,
      a7, a8, a9, a10, a11)
TIMED(dtrsv_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8)), a1, a2, a3, a4, a5, a6, a7, a8)
