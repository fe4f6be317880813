#include "memory/file_calls.h"

#include "interface/process_state.h"

#include <cinttypes>

namespace vyr {

namespace {

/// The seam where the test build makes file calls fail on demand.
bool fails_on_demand() noexcept {
#ifdef VYR_TEST_HOOKS
    std::int64_t left = mf_test_hooks.fail_file_call_at.load();
    while (left > 0 && !mf_test_hooks.fail_file_call_at.compare_exchange_weak(left, left - 1)) {
    }
    if (left == 1 && mf_test_hooks.fail_every_later_file_call) mf_test_hooks.fail_file_call_at = 1;
    return left == 1;
#else
    return false;
#endif
}

} // namespace

void mf_file_name(std::int32_t number, char (&name)[FILE_NAME_BYTES]) noexcept {
    std::snprintf(name, sizeof name, "VYR_%2" PRId32 ".mmf", number);
}

std::FILE* mf_file_open(std::int32_t number, const char* mode) noexcept {
    if (fails_on_demand()) return nullptr;
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    return std::fopen(name, mode);
}

bool mf_file_write(std::FILE* file, const void* data, std::size_t bytes) noexcept {
    // On demand the file takes half of the data, as a device does that fills up.
    const std::size_t taken = fails_on_demand() ? bytes / 2 : bytes;
    return std::fwrite(data, 1, taken, file) == bytes;
}

bool mf_file_read(std::FILE* file, void* data, std::size_t bytes) noexcept {
    return !fails_on_demand() && std::fread(data, 1, bytes, file) == bytes;
}

bool mf_file_seek(std::FILE* file, std::int64_t offset, int whence) noexcept {
    return !fails_on_demand() && platform::file_seek(file, offset, whence) == 0;
}

std::int64_t mf_file_tell(std::FILE* file) noexcept {
    return fails_on_demand() ? -1 : platform::file_tell(file);
}

bool mf_file_close(std::FILE* file) noexcept {
    const bool failed = fails_on_demand();
    return std::fclose(file) == 0 && !failed;
}

} // namespace vyr
