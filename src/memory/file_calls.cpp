#include "memory/file_calls.h"

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

bool mf_file_path(const char* directory, std::int32_t number, char (&path)[FILE_PATH_BYTES]) noexcept {
    char name[FILE_NAME_BYTES];
    mf_file_name(number, name);
    const bool here = directory == nullptr;
    const int length =
        std::snprintf(path, sizeof path, "%s%s%s", here ? "" : directory, here ? "" : "/", name);
    return length >= 0 && static_cast<std::size_t>(length) < sizeof path;
}

bool mf_file_create(Faults* faults, const char* directory, std::int32_t number,
                    platform::OutputFile& file) noexcept {
    char path[FILE_PATH_BYTES];
    return !fails_on_demand(faults) && mf_file_path(directory, number, path) && file.open(path, "wb");
}

bool mf_file_write(Faults* faults, platform::OutputFile& file, const void* data, std::size_t bytes) noexcept {
    // On demand the file takes half of the data, as a device does that fills up.
    const bool failed = fails_on_demand(faults);
    const bool taken = file.write(data, failed ? bytes / 2 : bytes) && !failed;
    if (!taken) file.abandon();
    return taken;
}

bool mf_file_commit(Faults* faults, platform::OutputFile& file) noexcept {
    if (fails_on_demand(faults)) file.abandon();
    return file.stream() != nullptr && file.commit();
}

std::FILE* mf_file_open(Faults* faults, const char* directory, std::int32_t number) noexcept {
    char path[FILE_PATH_BYTES];
    if (fails_on_demand(faults) || !mf_file_path(directory, number, path)) return nullptr;
    return platform::open_regular_file(path);
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

void mf_remove_files(const char* directory) noexcept {
    for (std::int32_t number = 0; number <= LAST_FACTOR_FILE; ++number) {
        char path[FILE_PATH_BYTES];
        if (mf_file_path(directory, number, path)) std::remove(path);
    }
    platform::remove_directory(directory);
}

} // namespace vyr
