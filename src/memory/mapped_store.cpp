#include "memory/mapped_store.h"

namespace vyr {

namespace {

/// Code of the failed creation; the numeric driver makes its status of it.
constexpr int NO_MAPPING = -1000;

} // namespace

int mf_map_create(mf_solver& /*solver*/, std::int64_t /*bytes*/, double /*reserve*/) noexcept {
    return NO_MAPPING;
}

double* mf_map_fetch(const mf_snode& /*node*/) noexcept {
    return nullptr;
}

void mf_map_release(mf_solver& /*solver*/) noexcept {}

void mf_map_reset(mf_solver& solver) noexcept {
    solver.map_count = 0;
    solver.map_megabytes = 0;
    solver.map_base = nullptr;
}

} // namespace vyr
