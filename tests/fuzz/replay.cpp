// Runs a fuzz target without a fuzzer: on the files of a folder, then on random cases.
#include "support/capture.h"
#include "support/matrices.h"

#include <cstdlib>
#include <fstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

static void run(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

int main(int argc, char** argv) {
    const std::string folder = argc > 1 ? std::filesystem::absolute(argv[1]).string() : ".";
    const int n_random = argc > 2 ? std::atoi(argv[2]) : 0;
    const vyr::test::TempDirectory own;
    int n_cases = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        run({std::istreambuf_iterator<char>(file), {}});
        ++n_cases;
    }
    vyr::test::Rng rng(7);
    for (int i = 0; i < n_random; ++i) {
        std::string bytes(rng() % 300, '\0');
        for (char& c : bytes) c = static_cast<char>(rng());
        run(bytes);
    }
    return n_cases > 0 ? 0 : 1;
}
