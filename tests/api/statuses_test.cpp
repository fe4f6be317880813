// What the library interface answers to hosts that err: every status, and structures of other sizes.
#include "api/host.h"

#include <cmath>
#include <cstring>
#include <functional>

namespace vyr::test {
namespace {

constexpr vyr_status ARGUMENT = VYR_STATUS_ARGUMENT;
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();

/// A host that does everything right but for what a row of the table changes.
struct Road {
    Csc a = spd(12, grid_edges(4, 3));
    Options options;
    vyr_matrix matrix = view_of(a), values;
    double b[12] = {1, 2, 3}, x[12] = {};
    std::int32_t nrhs = 1;
    std::int64_t ldb = 12, ldx = 12;

    /// The first status that is not OK, and its sentence.
    std::pair<vyr_status, std::string> run() {
        vyr_analysis* analysis = nullptr;
        vyr_factor* factor = nullptr;
        vyr_status status = vyr_analyse(&matrix, &options, &analysis);
        std::string message = vyr_analysis_message(analysis);
        if (status == VYR_STATUS_OK) status = vyr_factor_create(analysis, nullptr, &factor);
        if (status == VYR_STATUS_OK) {
            status = vyr_factorise(factor, values.size != 0 ? &values : &matrix);
            message = vyr_factor_message(factor);
        }
        if (status == VYR_STATUS_OK) status = vyr_solve(factor, nrhs, b, ldb, x, ldx, nullptr);
        vyr_factor_free(factor);
        vyr_analysis_free(analysis);
        return {status, message};
    }
    Road() { values.size = 0; }
};

TEST(Statuses, EveryMistakeHasItsStatusAndASentence) {
    static const std::int32_t twice[12] = {0, 1, 1}, order[12] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11};
    static const Csc other = spd(12, grid_edges(3, 4));
    const struct {
        std::function<void(Road&)> mistake;
        vyr_status status;
        const char* sentence;
    } rows[] = {
        {[](Road&) {}, VYR_STATUS_OK, ""},
        {[](Road& r) { r.options.size = 3; }, ARGUMENT, "options.size is 3"},
        {[](Road& r) { r.options.kind = 3; }, ARGUMENT, "options.kind is 3"},
        {[](Road& r) { r.options.ordering = -1; }, ARGUMENT, "options.ordering"},
        {[](Road& r) { r.options.ordering = VYR_ORDERING_USER; }, ARGUMENT, "permutation is null"},
        {[](Road& r) { r.options.ordering = VYR_ORDERING_USER, r.options.permutation = twice; }, ARGUMENT,
         "entry 2 is 1"},
        {[](Road& r) { r.options.threads = -1; }, ARGUMENT, "options.threads"},
        {[](Road& r) { r.options.refinements = -2; }, ARGUMENT, "options.refinements"},
        {[](Road& r) { r.options.pivot_min = NOT_A_NUMBER; }, ARGUMENT, "options.pivot_min"},
        {[](Road& r) { r.options.backward_error_limit = NOT_A_NUMBER; }, ARGUMENT, "backward_error"},
        {[](Road& r) { r.options.memory_limit = 9; }, ARGUMENT, "needs options.directory"},
        {[](Road& r) { r.options.memory_limit = -9; }, ARGUMENT, "memory_limit"},
        {[](Road& r) { r.options.duplicates = 2; }, ARGUMENT, "duplicates"},
        {[](Road& r) { r.options.directory = "/nowhere/at all"; }, VYR_STATUS_FILE, "/nowhere/at all"},
        {[](Road& r) { r.matrix.size = 0; }, ARGUMENT, "matrix.size"},
        {[](Road& r) { r.matrix.triangle = 7; }, ARGUMENT, "matrix.triangle is 7"},
        {[](Road& r) { r.matrix.layout = 7; }, ARGUMENT, "matrix.layout is 7"},
        {[](Road& r) { r.matrix.n = std::int64_t{1} << 40; }, VYR_STATUS_TOO_LARGE, nullptr},
        {[](Road& r) { r.matrix.triangle = VYR_UPPER; }, VYR_STATUS_STRUCTURE, nullptr},
        {[](Road& r) { r.matrix.triangle = VYR_BOTH; }, VYR_STATUS_NOT_SYMMETRIC, nullptr},
        {[](Road& r) { r.a.rowind[1] = 0, r.options.duplicates = 1; }, VYR_STATUS_DUPLICATE, nullptr},
        {[](Road& r) { r.a.values[3] = NOT_A_NUMBER; }, VYR_STATUS_NOT_FINITE, nullptr},
        {[](Road& r) { r.values = view_of(other); }, VYR_STATUS_PATTERN, nullptr},
        {[](Road& r) { r.matrix.values = nullptr; }, VYR_STATUS_NULL, nullptr},
        {[](Road& r) { r.a.values[0] = -1; }, VYR_STATUS_NOT_POSITIVE,
         "equation 1: pivot -1 is not positive"},
        {[](Road& r) { r.options.kind = VYR_KIND_INDEFINITE, r.a.values.assign(29, 0.0); },
         VYR_STATUS_SINGULAR, nullptr},
        {[](Road& r) { // indefinite after all, in a given order
             r.options.kind = VYR_KIND_AUTOMATIC, r.options.ordering = VYR_ORDERING_USER;
             r.options.permutation = order, r.a.values[r.a.colptr[7]] = 0.1;
         },
         VYR_STATUS_OK, ""},
        {[](Road& r) { r.b[5] = INFINITY; }, VYR_STATUS_NOT_FINITE, nullptr},
        {[](Road& r) { r.nrhs = 0; }, ARGUMENT, nullptr},
        {[](Road& r) { r.ldb = 11; }, ARGUMENT, nullptr},
        {[](Road& r) { r.ldx = INT64_MAX; }, ARGUMENT, nullptr},
        {[](Road& r) { r.options.backward_error_limit = 1e-300; }, VYR_STATUS_INACCURATE, nullptr}};
    for (const auto& row : rows) {
        Road road;
        row.mistake(road);
        const auto [status, message] = road.run();
        EXPECT_EQ(status, row.status) << &row - rows << ": " << message;
        EXPECT_STRNE(vyr_status_text(status), "an unknown status");
        if (row.sentence == nullptr) continue;
        EXPECT_NE(message.find(row.sentence), std::string::npos) << &row - rows << ": " << message;
    }
}

TEST(Statuses, NullIsRefusedEverywhereAndFreedQuietly) {
    double x = 0;
    std::int32_t sign = 0;
    EXPECT_EQ(vyr_analyse(nullptr, nullptr, nullptr), VYR_STATUS_NULL);
    vyr_analysis* analysis = nullptr;
    EXPECT_EQ(vyr_analyse(nullptr, nullptr, &analysis), VYR_STATUS_NULL);
    vyr_factor* factor = nullptr;
    EXPECT_EQ(vyr_factor_create(analysis, nullptr, &factor), VYR_STATUS_NULL) << "as the analysis failed";
    vyr_analysis_free(analysis);
    vyr_analysis_free(nullptr);
    vyr_factor_free(nullptr);
    for (const vyr_status status :
         {vyr_factor_create(nullptr, nullptr, &factor), vyr_factorise(nullptr, nullptr),
          vyr_solve(nullptr, 1, &x, 1, &x, 1, nullptr), vyr_solve_part(nullptr, VYR_PART_L, 1, &x, 1),
          vyr_condition(nullptr, 0, &x), vyr_log_determinant(nullptr, &x, &sign),
          vyr_factor_diagonal(nullptr, &x, nullptr), vyr_factor_pivots(nullptr, &x),
          vyr_factor_columns(nullptr, nullptr, nullptr, nullptr, nullptr),
          vyr_factor_get_info(nullptr, nullptr), vyr_analysis_get_info(nullptr, nullptr),
          vyr_analysis_permutation(nullptr, nullptr)})
        EXPECT_EQ(status, VYR_STATUS_NULL);
    EXPECT_STREQ(vyr_analysis_message(nullptr), "");
    EXPECT_STREQ(vyr_factor_message(nullptr), "");
}

TEST(Statuses, AHostOfAnotherVersionKeepsItsStructuresWhole) {
    const Csc a = spd(12, grid_edges(4, 3));
    // A newer host: members that this library does not know follow.
    struct {
        vyr_options options;
        double later;
    } newer;
    vyr_options_default(&newer.options, sizeof newer);
    EXPECT_EQ(newer.later, 0.0);
    EXPECT_EQ(newer.options.size, sizeof newer);
    const Analysis analysis(view_of(a), newer.options);
    // The oldest: whatever lies behind its options is not read.
    Road oldest;
    std::memset(static_cast<vyr_options*>(&oldest.options), 0x7f, sizeof(vyr_options));
    vyr_options_default(&oldest.options, offsetof(vyr_options, progress_user) + sizeof(void*));
    EXPECT_EQ(oldest.run().first, VYR_STATUS_OK);
    // An older one: its info ends early, and what lies behind is not touched.
    vyr_analysis_info info;
    std::memset(&info, 7, sizeof info);
    info.size = offsetof(vyr_analysis_info, operations);
    EXPECT_EQ(vyr_analysis_get_info(analysis.get(), &info), VYR_STATUS_OK);
    EXPECT_EQ(info.n, 12);
    EXPECT_NE(info.operations, analysis.info().operations);
    info.size = 0;
    EXPECT_EQ(vyr_analysis_get_info(analysis.get(), &info), ARGUMENT);
    EXPECT_EQ(vyr_version() / 1000, VYR_SOLVER_VERSION_MAJOR);
    EXPECT_NE(vyr_abilities() & VYR_ABILITY_METIS, 0);
}

} // namespace
} // namespace vyr::test
