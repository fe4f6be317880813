// The library's objects, released on every path.
#pragma once

#include "tools/vyr/sparse_matrix.h"
#include "vyr/solver.h"

namespace vyr::tool {

inline vyr_matrix library_matrix(const SparseMatrix& a) {
    vyr_matrix matrix;
    vyr_matrix_lower(&matrix, sizeof matrix, a.n, a.col_ptr.data(), a.row_ind.data(), a.values.data());
    return matrix;
}

class Analysis {
public:
    Analysis() = default;
    ~Analysis() { vyr_analysis_free(analysis_); }
    Analysis(const Analysis&) = delete;
    Analysis& operator=(const Analysis&) = delete;

    vyr_status make(const vyr_matrix& matrix, const vyr_options& options) {
        return vyr_analyse(&matrix, &options, &analysis_);
    }
    vyr_analysis_info info() const {
        vyr_analysis_info info{};
        info.size = sizeof info;
        (void)vyr_analysis_get_info(analysis_, &info);
        return info;
    }
    const char* message() const { return vyr_analysis_message(analysis_); }
    const vyr_analysis* get() const { return analysis_; }

private:
    vyr_analysis* analysis_ = nullptr;
};

class Factor {
public:
    Factor() = default;
    ~Factor() { vyr_factor_free(factor_); }
    Factor(const Factor&) = delete;
    Factor& operator=(const Factor&) = delete;

    vyr_status make(const Analysis& analysis, const vyr_options& options) {
        return vyr_factor_create(analysis.get(), &options, &factor_);
    }
    vyr_factor_info info() const {
        vyr_factor_info info{};
        info.size = sizeof info;
        (void)vyr_factor_get_info(factor_, &info);
        return info;
    }
    vyr_factor* get() const { return factor_; }

private:
    vyr_factor* factor_ = nullptr;
};

} // namespace vyr::tool
