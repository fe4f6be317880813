// A library to preload that tells at the end of a program how long each routine of BLAS, LAPACK and METIS
// ran:
//
//     LD_PRELOAD=build/bench/lib/libcall_times.so build/bench/bin/vyr solve A.mtx
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
            std::fprintf(stderr, "%-13s %10lld calls %9.3f s\n", name, static_cast<long long>(calls),
                         1e-9 * static_cast<double>(nanoseconds));
    }
};

class Clock {
public:
    explicit Clock(Routine& routine) : routine_(routine) {}
    ~Clock() {
        const std::chrono::nanoseconds spent = std::chrono::steady_clock::now() - start_;
        routine_.calls.fetch_add(1, std::memory_order_relaxed);
        routine_.nanoseconds.fetch_add(spent.count(), std::memory_order_relaxed);
    }
    Clock(const Clock&) = delete;
    Clock& operator=(const Clock&) = delete;

private:
    Routine& routine_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

template <typename Result, typename... Arguments>
Result pass_on(Routine& routine, Arguments... arguments) {
    const Clock clock(routine);
    return reinterpret_cast<Result (*)(Arguments...)>(routine.next)(arguments...);
}

} // namespace

// Every argument of these routines is an address.
#define P(i) const void* a##i
#define TIMED(Result, name, parameters, ...)                                                                 \
    extern "C" [[gnu::visibility("default")]] Result name parameters {                                       \
        static Routine routine{#name};                                                                       \
        return pass_on<Result>(routine, __VA_ARGS__);                                                        \
    }

TIMED(void, dgemm_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11), P(12), P(13)), a1,
      a2, a3, a4, a5, a6, a7, a8, a9, a10, a11, a12, a13)
TIMED(void, dsyrk_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10)), a1, a2, a3, a4, a5, a6, a7,
      a8, a9, a10)
TIMED(void, dtrsm_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11)), a1, a2, a3, a4, a5,
      a6, a7, a8, a9, a10, a11)
TIMED(void, dpotrf_, (P(1), P(2), P(3), P(4), P(5)), a1, a2, a3, a4, a5)
TIMED(void, dgemv_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8), P(9), P(10), P(11)), a1, a2, a3, a4, a5,
      a6, a7, a8, a9, a10, a11)
TIMED(void, dtrsv_, (P(1), P(2), P(3), P(4), P(5), P(6), P(7), P(8)), a1, a2, a3, a4, a5, a6, a7, a8)
TIMED(int, METIS_NodeND, (P(1), P(2), P(3), P(4), P(5), P(6), P(7)), a1, a2, a3, a4, a5, a6, a7)
