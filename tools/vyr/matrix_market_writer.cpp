#include "tools/vyr/matrix_market.h"
#include "tools/vyr/printable.h"
#include "tools/vyr/text_file.h"

namespace vyr::tool {

void write_symmetric(const std::string& path, const SparseMatrix& a, const std::string& comment) {
    TextFile file(path);
    file << "%%MatrixMarket matrix coordinate real symmetric\n% " << printable(comment) << '\n';
    file.number(a.n) << ' ';
    file.number(a.n) << ' ';
    file.number(a.nnz()) << '\n';
    for (std::size_t j = 0; j < static_cast<std::size_t>(a.n); ++j)
        for (std::int32_t k = a.col_ptr[j]; k < a.col_ptr[j + 1]; ++k) {
            const std::size_t entry = static_cast<std::size_t>(k);
            file.number(a.row_ind[entry] + std::int64_t{1}) << ' ';
            file.number(j + 1) << ' ';
            file.number(a.values[entry]) << '\n';
        }
    file.finish();
}

void write_dense(const std::string& path, const DenseMatrix& x, const std::string& comment) {
    TextFile file(path);
    file << "%%MatrixMarket matrix array real general\n% " << printable(comment) << '\n';
    file.number(x.n_rows) << ' ';
    file.number(x.n_cols) << '\n';
    for (const double value : x.values) file.number(value) << '\n';
    file.finish();
}

} // namespace vyr::tool
