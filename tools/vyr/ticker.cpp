#include "tools/vyr/ticker.h"

#include <chrono>
#include <cstdio>
#include <system_error>

namespace vyr::tool {

Ticker::Ticker(const char* phase, bool enabled) : phase_(phase) {
    if (!enabled) return;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error&) { // no thread to be had: the work goes on in silence
    }
}

Ticker::~Ticker() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        done_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void Ticker::run() {
    using Clock = std::chrono::steady_clock;
    const Clock::time_point start = Clock::now();
    int width = 0;
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, std::chrono::milliseconds(500), [this] { return done_; })) {
        const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
        width = std::printf("\r  %s ... %.0f s", phase_.c_str(), seconds) - 1;
        std::fflush(stdout);
    }
    if (width > 0) std::printf("\r%*s\r", width, "");
    std::fflush(stdout);
}

} // namespace vyr::tool
