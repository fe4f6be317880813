// Any text as a matrix and as right-hand sides: read as it is meant, or refused.
#include "fuzz/bytes.h"
#include "tools/vyr/matrix_market.h"

#include <cmath>

using namespace vyr::test;
using namespace vyr::tool;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    try {
        const SparseMatrix a = parse_symmetric("case", text);
        require(static_cast<std::size_t>(a.col_ptr.back()) == a.values.size());
        for (std::int32_t j = 0; j < a.n; ++j)
            for (std::int32_t k = a.col_ptr[static_cast<std::size_t>(j)];
                 k < a.col_ptr[static_cast<std::size_t>(j) + 1]; ++k) {
                const auto entry = static_cast<std::size_t>(k);
                require(a.row_ind[entry] >= j && a.row_ind[entry] < a.n && std::isfinite(a.values[entry]));
                require(k == a.col_ptr[static_cast<std::size_t>(j)] ||
                        a.row_ind[entry - 1] < a.row_ind[entry]);
            }
    } catch (const FileError&) {
    }
    try {
        const DenseMatrix x = parse_dense("case", text, 3);
        require(x.n_rows == 3 && x.values.size() == 3 * static_cast<std::size_t>(x.n_cols));
    } catch (const FileError&) {
    }
    return 0;
}
