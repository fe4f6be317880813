#include "platform/process.h"

#include <mutex>

namespace vyr::platform {

namespace {

std::mutex ordering_mutex;

} // namespace

OrderingLock::OrderingLock() noexcept {
    ordering_mutex.lock();
}

OrderingLock::~OrderingLock() {
    ordering_mutex.unlock();
}

} // namespace vyr::platform
