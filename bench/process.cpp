#include "bench/process.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vyr::bench {

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

[[noreturn]] void fail(const char* what) {
    throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    for (std::string& text : texts) result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

/// Reads until the other end closes; false when the time is over first.
bool read_all(int fd, double timeout, Clock::time_point start, std::string& output) {
    for (;;) {
        const double left = timeout - seconds_since(start);
        if (left <= 0) return false;
        pollfd entry{fd, POLLIN, 0};
        if (poll(&entry, 1, static_cast<int>(left * 1000) + 1) <= 0) continue;
        char buffer[4096];
        const ssize_t got = read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return true;
        output.append(buffer, static_cast<std::size_t>(got));
    }
}

void end_with_parent() {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
}

double seconds_of(const timeval& time) {
    return static_cast<double>(time.tv_sec) + 1e-6 * static_cast<double>(time.tv_usec);
}

} // namespace

Environment clean_environment() {
    Environment result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::size_t equals = text.find('=');
        if (equals == std::string::npos) continue;
        const std::string name = text.substr(0, equals);
        bool changes_measurement = false;
        for (const char* prefix : {"OMP_", "GOMP_", "OPENBLAS_", "GOTO_", "KMP_", "MALLOC_"})
            changes_measurement = changes_measurement || name.starts_with(prefix);
        if (!changes_measurement) result[name] = text.substr(equals + 1);
    }
    return result;
}

ProcessResult run_self(const std::vector<std::string>& arguments, const Environment& environment,
                       double timeout) {
    std::vector<std::string> argument_texts = {"vyr_bench"};
    argument_texts.insert(argument_texts.end(), arguments.begin(), arguments.end());
    std::vector<std::string> variable_texts;
    for (const auto& [name, value] : environment) variable_texts.push_back(name + "=" + value);
    const std::vector<char*> argv = pointers(argument_texts), envp = pointers(variable_texts);

    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) fail("pipe");
    const Clock::time_point start = Clock::now();
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid == 0) {
        end_with_parent();
        dup2(ends[1], STDOUT_FILENO);
        execve("/proc/self/exe", argv.data(), envp.data());
        _exit(127);
    }
    close(ends[1]);
    ProcessResult result;
    result.timed_out = !read_all(ends[0], timeout, start, result.output);
    close(ends[0]);
    if (result.timed_out) kill(pid, SIGKILL);
    int status = 0;
    rusage usage = {};
    while (wait4(pid, &status, 0, &usage) < 0)
        if (errno != EINTR) fail("wait4");
    result.seconds = seconds_since(start);
    result.cpu_seconds = seconds_of(usage.ru_utime) + seconds_of(usage.ru_stime);
    result.succeeded = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (result.timed_out)
        result.ending = "no end within " + std::to_string(timeout) + " s";
    else if (WIFSIGNALED(status))
        result.ending = "signal " + std::to_string(WTERMSIG(status));
    else
        result.ending = "exit code " + std::to_string(WEXITSTATUS(status));
    return result;
}

int start_spinner() {
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid > 0) return pid;
    end_with_parent();
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    if (sched_getaffinity(0, sizeof allowed, &allowed) == 0) {
        int last = CPU_SETSIZE - 1;
        while (last > 0 && !CPU_ISSET(last, &allowed)) --last;
        CPU_ZERO(&allowed);
        CPU_SET(last, &allowed);
        if (sched_setaffinity(0, sizeof allowed, &allowed) != 0) _exit(1);
    }
    for (volatile unsigned long count = 0;;) count = count + 1;
}

void stop_spinner(int pid) {
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

} // namespace vyr::bench
