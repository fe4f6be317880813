// Shows on a terminal that a long phase is alive.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>

namespace vyr::tool {

/// While it lives, a line such as "factorise ... 12 s" is kept up to date on standard output, from half a
/// second on, by a thread of its own; the destructor wipes the line. Does nothing when not `enabled`.
class Ticker {
public:
    Ticker(const char* phase, bool enabled);
    ~Ticker();
    Ticker(const Ticker&) = delete;
    Ticker& operator=(const Ticker&) = delete;

private:
    void run();

    std::string phase_;
    std::mutex mutex_;
    std::condition_variable wake_;
    bool done_ = false;
    std::thread thread_;
};

} // namespace vyr::tool
