// Factor files that somebody changed: refused, unless they are what was written.
#include "fuzz/bytes.h"
#include "memory/factor_files.h"
#include "support/engine.h"

#include <fstream>

using namespace vyr;
using namespace vyr::test;

namespace {

/// A factorization out of core, and its first file as it was written.
struct Written : TestContext {
    Written() {
        context.settings.core_mode = CORE_OUT;
        require(run.run(a) == Status::OK && run.factor.files.count > 0);
        require(mf_file_path(nullptr, 0, path));
        std::ifstream file(path, std::ios::binary);
        whole.assign(std::istreambuf_iterator<char>(file), {});
    }
    Csc a = spd(42, grid_edges(7, 6), 1);
    EngineRun run{*this};
    char path[FILE_PATH_BYTES];
    std::string whole;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Written written;
    Bytes bytes(data, size);
    std::string changed = written.whole;
    while (!bytes.empty()) {
        const std::size_t at =
            static_cast<std::size_t>(bytes.byte() * 256 + bytes.byte()) % (changed.size() + 1);
        const int change = bytes.below(4), value = bytes.byte();
        if (change == 0 && at < changed.size()) changed[at] = static_cast<char>(value);
        if (change == 1) changed.resize(at);
        if (change == 2) changed.insert(at, 1, static_cast<char>(value));
        if (change == 3) changed += changed.substr(at);
        if (changed.size() > 100000) changed.resize(100000);
    }
    std::ofstream(written.path, std::ios::binary) << changed;
    std::vector<double> x(42, 1.0);
    const Status status =
        mf_solve_system(written.context, written.run.factor, matrix_of(written.a), x.data(), 1, false);
    require(status == (changed == written.whole ? Status::OK : Status::FACTOR_FILE));
    return 0;
}
