// Matrix Market files. The readers throw FileError, with file name and line number, for every file that is
// not exactly what its header announces.
#pragma once

#include "tools/vyr/line_reader.h"
#include "tools/vyr/sparse_matrix.h"

#include <string>
#include <string_view>

namespace vyr::tool {

/// Reads a symmetric matrix: coordinate, real or integer. Of a `symmetric` file an entry may lie in either
/// triangle, but only once; a `general` file must hold both triangles, equal but for the last
/// places of the values; the lower one counts.
SparseMatrix read_symmetric(const std::string& path);

/// As read_symmetric for text already in memory; `name` stands for the file in errors.
SparseMatrix parse_symmetric(const std::string& name, std::string_view text);

/// Reads right-hand sides: array or coordinate, real or integer, general, with `n_rows` rows.
DenseMatrix read_dense(const std::string& path, std::int32_t n_rows);
DenseMatrix parse_dense(const std::string& name, std::string_view text, std::int32_t n_rows);

/// Write in the same format, every number in its shortest form that reads back to the same double.
/// `comment` becomes one line. Throw FileError when the file cannot be written in full.
void write_symmetric(const std::string& path, const SparseMatrix& a, const std::string& comment);
void write_dense(const std::string& path, const DenseMatrix& x, const std::string& comment);

} // namespace vyr::tool
