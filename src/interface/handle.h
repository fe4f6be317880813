// What the opaque handle of the public header stands for.
#pragma once

#include "core/factor.h"
#include "vyr.h"

/// One matrix: its analysis and its factor.
struct mf_solver {
    explicit mf_solver(vyr::Accounting& memory) noexcept : factor(memory, analysis) {}

    vyr::Analysis analysis;
    vyr::Factor factor;
    vyr::Status factor_status = vyr::Status::OK; ///< of the last factorization; explains the pivots
};
