#include "platform/process.h"

#include <mutex>
#include <utility>

namespace vyr::platform {

namespace {

std::mutex ordering_mutex;
thread_local void* running_call = nullptr;

} // namespace

void* ordering_call() noexcept {
    return running_call;
}

void* exchange_ordering_call(void* call) noexcept {
    return std::exchange(running_call, call);
}

OrderingLock::OrderingLock() noexcept {
    ordering_mutex.lock();
}

OrderingLock::~OrderingLock() {
    ordering_mutex.unlock();
}

} // namespace vyr::platform
