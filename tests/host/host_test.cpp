// What a host does to its process, and what the library must leave to it.
#include "api/host.h"
#include "vyr.h"

#include <omp.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace vyr;
using namespace vyr::test;

namespace {

const Csc GRID = spd(110 * 110, grid_edges(110, 110)); ///< large enough to be ordered by several threads
constexpr double BAR = 1e-14;
constexpr int ALONE = 2; ///< right, on one thread, and the log says so; libgomp would end the process with 1

void count_line(void* user, int32_t, const char* text) {
    *static_cast<int*>(user) += std::string(text).find("One thread") != std::string::npos;
}

/// Both kinds through the library interface on two threads; 0 when all is right, ALONE, or a status.
int library_solves() try {
    int warnings = 0;
    const std::vector<double> b = random_vector(GRID.n, 1);
    std::vector<double> x = b;
    Options options;
    options.ordering = VYR_ORDERING_DISSECTION, options.threads = 2;
    options.log = count_line, options.log_user = &warnings;
    for (options.kind = VYR_KIND_POSITIVE; options.kind <= VYR_KIND_INDEFINITE; ++options.kind) {
        Factor factor{Analysis(view_of(GRID), options)};
        factor.factorise(view_of(GRID));
        factor.solve(b, x);
        if (backward_error(GRID, x.data(), b.data()) > BAR) return -1;
    }
    return warnings > 0 ? ALONE : 0;
} catch (const std::bad_alloc&) {
    return VYR_STATUS_MEMORY;
} catch (const Error& error) {
    return error.status();
}

/// The same through the nine functions.
int nine_functions_solve() {
    const int *p = GRID.colptr.data(), *r = GRID.rowind.data();
    const double* v = GRID.values.data();
    for (const int type : {VYR_TYPE_SPD, VYR_TYPE_INDEFINITE}) {
        std::vector<double> param(VYR_PARAM_COUNT), b = random_vector(GRID.n, 1), x = b;
        omp_set_num_threads(2);
        if (VYR_init_ld(GRID.n, GRID.n, p, r, v, 11, param.data()) != 0) return -1;
        const VYR_handle h = VYR_symbol_ld(nullptr, GRID.n, p, r);
        VYR_init_ld(GRID.n, GRID.n, p, r, v, type, param.data());
        const int status = VYR_numeric_ld(nullptr, GRID.n, p, r, v, h);
        VYR_solve_ld(h, nullptr, GRID.n, p, r, v, x.data());
        VYR_clear_ld(h);
        if (status != 0) return status;
        if (backward_error(GRID, x.data(), b.data()) > BAR) return -1;
    }
    return 0;
}

/// What `action` answers in a child process; -2 when that ends in another way or not within a minute.
template <typename Action>
int in_child(Action action) {
    const pid_t child = fork();
    if (child == 0) {
        alarm(60);
        _exit(action() & 0xff);
    }
    int ended = 0;
    waitpid(child, &ended, 0);
    return WIFEXITED(ended) ? static_cast<signed char>(WEXITSTATUS(ended)) : -2;
}

void limit(int resource, rlim_t amount) {
    const rlimit both{amount, amount};
    setrlimit(static_cast<__rlimit_resource_t>(resource), &both);
}

rlim_t address_space_in_use() {
    long pages = 0;
    FILE* const file = std::fopen("/proc/self/statm", "r");
    EXPECT_EQ(std::fscanf(file, "%ld", &pages), 1);
    std::fclose(file);
    return static_cast<rlim_t>(pages * sysconf(_SC_PAGESIZE));
}

std::atomic<int> terminations{0};

} // namespace

TEST(Host, ALimitOnTheAddressSpaceIsAStatusOrOneThread) {
    constexpr rlim_t MB = 1 << 20;
    const auto under = [](rlim_t room, auto solves) {
        return in_child([&] {
            limit(RLIMIT_AS, address_space_in_use() + room);
            return solves();
        });
    };
    EXPECT_EQ(under(60 * MB, library_solves), VYR_STATUS_MEMORY);
    EXPECT_EQ(under(60 * MB, nine_functions_solve), VYR_ERR_MEMORY);
    EXPECT_EQ(under(300 * MB, library_solves), ALONE);
    EXPECT_EQ(under(300 * MB, nine_functions_solve), 0);
    EXPECT_EQ(under(2000 * MB, library_solves), 0);
}

TEST(Host, WithoutThreadsToBeHadOneDoesTheWork) {
    EXPECT_EQ(in_child([] {
                  // The limit counts the threads of the user, and does not hold for root.
                  if (getuid() == 0 && (setgid(54321) != 0 || setuid(54321) != 0)) return 9;
                  limit(RLIMIT_NPROC, 1);
                  return library_solves();
              }),
              ALONE);
}

TEST(Host, AForkedChildSolvesOnOneThreadWhenItsParentHadSeveral) {
    EXPECT_EQ(in_child(library_solves), 0) << "nothing was lost yet";
    ASSERT_EQ(library_solves(), 0);
    ASSERT_EQ(nine_functions_solve(), 0);
    EXPECT_EQ(in_child(library_solves), ALONE);
    EXPECT_EQ(in_child(nine_functions_solve), 0);
    EXPECT_EQ(in_child([] { return in_child(library_solves); }), ALONE);
}

TEST(Host, SignalsAndRandomNumbersStayTheHosts) {
    std::signal(SIGTERM, [](int) { ++terminations; });
    std::signal(SIGABRT, [](int) { ++terminations; });
    std::srand(1);
    std::vector<int> undisturbed(100);
    for (int& number : undisturbed) number = std::rand();
    std::srand(1);
    std::atomic<bool> done{false};
    int sent = 0;
    std::thread sender([&] {
        for (; !done; ++sent) {
            kill(getpid(), sent % 2 == 0 ? SIGTERM : SIGABRT);
            usleep(200);
            while (terminations <= sent && !done) usleep(100);
        }
    });
    const Csc cube = spd(20 * 20 * 20, grid_edges(20, 20, 20));
    Options options;
    options.ordering = VYR_ORDERING_METIS;
    for (int k = 0; k < 5; ++k) (void)Analysis(view_of(cube), options);
    done = true;
    sender.join();
    EXPECT_EQ(terminations, sent);
    EXPECT_GT(sent, 10);
    for (const int number : undisturbed) ASSERT_EQ(std::rand(), number);
}
