#include "memory/file_calls.h"

#include "platform/platform.h"

#include <cinttypes>

namespace vyr {

namespace {

bool fails_on_demand(Faults* faults) noexcept {
    return faults != nullptr && faults->file_call.fails_now();
}

} // namespace

void mf_file_name(std::int32_t number, char (&name)[FILE_NAME_BYTES]) noexcept {
    std::snprintf(name, sizeof name, "VYR_%2" PRId32 ".mmf", number);
}

std::FILE* mf_file_open(Faults* faults, const char* directory, std::int32_t number,
                        const char* mode) noexcept {
    if (fails_on_demand(faults)) return nullptr;
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    if (directory == nullptr) return std::fopen(name, mode);
    char path[FILE_PATH_BYTES];
    const int length = std::snprintf(path, sizeof path, "%s/%s", directory, name);
    if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return nullptr;
    return std::fopen(path, mode);
}

bool mf_file_write(Faults* faults, std::FILE* file, const void* data, std::size_t bytes) noexcept {
    // On demand the file takes half of the data, as a device does that fills up.
    const bool failed = fails_on_demand(faults);
    return std::fwrite(data, 1, failed ? bytes / 2 : bytes, file) == bytes && !failed;
}

bool mf_file_read(Faults* faults, std::FILE* file, void* data, std::size_t bytes) noexcept {
    return !fails_on_demand(faults) && std::fread(data, 1, bytes, file) == bytes;
}

bool mf_file_seek(Faults* faults, std::FILE* file, std::int64_t offset, int whence) noexcept {
    return !fails_on_demand(faults) && platform::file_seek(file, offset, whence) == 0;
}

std::int64_t mf_file_tell(Faults* faults, std::FILE* file) noexcept {
    return fails_on_demand(faults) ? -1 : platform::file_tell(file);
}

bool mf_file_close(Faults* faults, std::FILE* file) noexcept {
    const bool failed = fails_on_demand(faults);
    return std::fclose(file) == 0 && !failed;
}

void mf_remove_files(const char* directory) noexcept {
    constexpr std::int32_t LAST = 100;
    for (std::int32_t number = 0; number <= LAST; ++number) {
        char name[FILE_NAME_BYTES], path[FILE_PATH_BYTES];
        mf_file_name(number, name);
        const int length = std::snprintf(path, sizeof path, "%s/%s", directory, name);
        if (length < 0 || static_cast<std::size_t>(length) >= sizeof path) return;
        std::remove(path);
    }
    platform::remove_directory(directory);
}

} // namespace vyr
