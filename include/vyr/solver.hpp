// VYR solver for C++20: RAII, spans and exceptions on top of vyr/solver.h. Header only; link libvyrsolver.
//
//     vyr::Analysis analysis(matrix);
//     vyr::Factor factor(analysis);
//     factor.factorise(matrix);
//     factor.solve(b, x);
//
// Objects are move-only and release what they own. A failure throws vyr::Error with the status and the
// sentence of the object at hand. Threads: as in vyr/solver.h.
#ifndef VYR_SOLVER_HPP
#define VYR_SOLVER_HPP

#include "vyr/solver.h"

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>

namespace vyr {

/// A failed call: its status, and what() with the sentence of the object or the text of the status.
class Error : public std::runtime_error {
public:
    Error(vyr_status status, const char* message)
        : std::runtime_error(message != nullptr && message[0] != '\0' ? message : vyr_status_text(status)),
          status_(status) {}
    vyr_status status() const noexcept { return status_; }

private:
    vyr_status status_;
};

/// Throws unless the status is OK; std::bad_alloc for VYR_STATUS_MEMORY.
inline void check(vyr_status status, const char* message = nullptr) {
    if (status == VYR_STATUS_MEMORY) throw std::bad_alloc();
    if (status != VYR_STATUS_OK) throw Error(status, message);
}

/// The options with their defaults; set members before use.
struct Options : vyr_options {
    Options() noexcept { vyr_options_default(this, sizeof(vyr_options)); }
};

/// A matrix view: borrows the arrays.
struct Matrix : vyr_matrix {
    Matrix() noexcept : vyr_matrix{} { size = sizeof(vyr_matrix); }

    /// Lower triangle by columns, 0-based. ptr: n + 1 positions of 32 or 64 bits; values: empty for a
    /// pattern.
    template <typename Position>
    Matrix(std::span<const Position> ptr_, std::span<const std::int32_t> ind_,
           std::span<const double> values_, std::int32_t triangle_ = VYR_LOWER,
           std::int32_t layout_ = VYR_COLUMNS, std::int32_t base_ = 0)
        : Matrix() {
        static_assert(sizeof(Position) == 4 || sizeof(Position) == 8);
        if (ptr_.empty()) throw Error(VYR_STATUS_EMPTY, "the matrix has no column pointers");
        if (static_cast<std::int64_t>(ptr_.back()) - base_ > static_cast<std::int64_t>(ind_.size()) ||
            (!values_.empty() && values_.size() < ind_.size()))
            throw Error(VYR_STATUS_STRUCTURE, "the arrays of the matrix are shorter than its pointers say");
        n = static_cast<std::int64_t>(ptr_.size()) - 1;
        ptr = ptr_.data();
        ind = ind_.data();
        values = values_.empty() ? nullptr : values_.data();
        ptr_bytes = static_cast<std::int32_t>(sizeof(Position));
        triangle = triangle_;
        layout = layout_;
        base = base_;
    }
};

class Analysis {
public:
    explicit Analysis(const vyr_matrix& matrix, const vyr_options& options = Options()) {
        vyr_analysis* made = nullptr;
        const vyr_status status = vyr_analyse(&matrix, &options, &made);
        handle_.reset(made);
        check(status, vyr_analysis_message(made));
    }

    vyr_analysis_info info() const {
        vyr_analysis_info info{};
        info.size = sizeof info;
        check(vyr_analysis_get_info(get(), &info));
        return info;
    }
    /// permutation: n, out; permutation[k] is the equation eliminated k-th.
    void permutation(std::span<std::int32_t> permutation) const {
        if (static_cast<std::int64_t>(permutation.size()) < info().n)
            throw Error(VYR_STATUS_ARGUMENT, "too short");
        check(vyr_analysis_permutation(get(), permutation.data()));
    }
    const vyr_analysis* get() const noexcept { return handle_.get(); }

private:
    struct Free {
        void operator()(vyr_analysis* analysis) const noexcept { vyr_analysis_free(analysis); }
    };
    std::unique_ptr<vyr_analysis, Free> handle_;
};

class Factor {
public:
    explicit Factor(const Analysis& analysis) { create(analysis, nullptr); }
    Factor(const Analysis& analysis, const vyr_options& options) { create(analysis, &options); }

    /// Factorises, in place of any earlier factorization.
    void factorise(const vyr_matrix& matrix) {
        check(vyr_factorise(get(), &matrix), vyr_factor_message(get()));
    }
    /// One right-hand side: b and x hold n doubles and may be the same.
    vyr_solve_info solve(std::span<const double> b, std::span<double> x) const { return solve(b, x, 1); }
    /// nrhs of them, column after column.
    vyr_solve_info solve(std::span<const double> b, std::span<double> x, std::int32_t nrhs) const {
        need(b.size(), nrhs);
        need(x.size(), nrhs);
        vyr_solve_info info{};
        info.size = sizeof info;
        check(vyr_solve(get(), nrhs, b.data(), n_, x.data(), n_, &info));
        return info;
    }
    void solve_part(std::int32_t part, std::span<double> x, std::int32_t nrhs = 1) const {
        need(x.size(), nrhs);
        check(vyr_solve_part(get(), part, nrhs, x.data(), n_));
    }
    double condition(bool equilibrated = false) const {
        double condition = 0;
        check(vyr_condition(get(), equilibrated ? 1 : 0, &condition));
        return condition;
    }
    /// log |det A| and the sign of det A.
    std::pair<double, int> log_determinant() const {
        double logarithm = 0;
        std::int32_t sign = 0;
        check(vyr_log_determinant(get(), &logarithm, &sign));
        return {logarithm, sign};
    }
    vyr_factor_info info() const {
        vyr_factor_info info{};
        info.size = sizeof info;
        check(vyr_factor_get_info(get(), &info));
        return info;
    }
    std::int64_t size() const noexcept { return n_; }
    const vyr_factor* get() const noexcept { return handle_.get(); }
    vyr_factor* get() noexcept { return handle_.get(); }

private:
    struct Free {
        void operator()(vyr_factor* factor) const noexcept { vyr_factor_free(factor); }
    };

    void create(const Analysis& analysis, const vyr_options* options) {
        vyr_factor* made = nullptr;
        const vyr_status status = vyr_factor_create(analysis.get(), options, &made);
        handle_.reset(made);
        check(status, status == VYR_STATUS_ARGUMENT ? "an option is out of range" : nullptr);
        n_ = analysis.info().n;
    }
    void need(std::size_t entries, std::int32_t nrhs) const {
        if (nrhs < 1 || static_cast<std::int64_t>(entries) / nrhs < n_)
            throw Error(VYR_STATUS_ARGUMENT, "an array is shorter than the columns it should hold");
    }

    std::unique_ptr<vyr_factor, Free> handle_;
    std::int64_t n_ = 0;
};

} // namespace vyr

#endif
