#include "bench/blas_build.h"

#include "platform/blas_kernels.h"

#include <filesystem>
#include <fstream>
#include <set>

extern "C" {
char* openblas_get_corename(void);
int openblas_get_parallel(void);
}

namespace vyr::bench {

namespace {

constexpr int BUILT_WITH_OPENMP = 2;

/// Files of shared libraries in this process whose path holds one of the names, links resolved.
std::set<std::string> loaded(std::initializer_list<const char*> names) {
    std::ifstream maps("/proc/self/maps");
    std::set<std::string> found;
    for (std::string line; std::getline(maps, line);) {
        const std::size_t path = line.find('/');
        if (path == std::string::npos) continue;
        const std::string file = std::filesystem::path(line.substr(path)).filename();
        for (const char* name : names)
            if (file.starts_with(name)) found.insert(line.substr(path));
    }
    return found;
}

} // namespace

std::string blas_kernels() {
    return openblas_get_corename();
}

std::string better_kernels(const std::string& blas_kernels) {
    const char* const better = blas::better_kernels(blas_kernels.c_str());
    return better != nullptr ? better : blas_kernels;
}

std::string blas_problem() {
    const std::set<std::string> builds = loaded({"libopenblas"});
    if (builds.size() != 1) return std::to_string(builds.size()) + " builds of OpenBLAS are loaded";
    if (openblas_get_parallel() != BUILT_WITH_OPENMP) return "OpenBLAS is not the OpenMP build";
    // The shims libblas.so.3 and liblapack.so.3 must be those of this build, not of another one.
    const std::filesystem::path folder = std::filesystem::path(*builds.begin()).parent_path();
    for (const std::string& shim : loaded({"libblas", "liblapack", "libatlas", "libmkl"}))
        if (std::filesystem::path(shim).parent_path() != folder) return shim + " is loaded as well";
    return "";
}

} // namespace vyr::bench
