#include "api/common.h"

#include "core/faults.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

namespace vyr::api {

namespace {

/// First members of the options and of the matrix, which every version had.
constexpr std::size_t LEAST_OPTIONS = offsetof(vyr_options, progress_user) + sizeof(void*);
constexpr std::size_t LEAST_MATRIX = offsetof(vyr_matrix, layout) + sizeof(std::int32_t);

template <typename... Arguments>
vyr_status refuse(char (&message)[240], const char* format, Arguments... arguments) noexcept {
    std::snprintf(message, sizeof message, format, arguments...);
    return VYR_STATUS_ARGUMENT;
}

vyr_status check_options(const vyr_options& options, char (&message)[240]) noexcept {
    if (options.kind < VYR_KIND_POSITIVE || options.kind > VYR_KIND_AUTOMATIC)
        return refuse(message, "options.kind is %d", options.kind);
    if (options.ordering < VYR_ORDERING_AUTOMATIC || options.ordering > VYR_ORDERING_DISSECTION)
        return refuse(message, "options.ordering is %d", options.ordering);
    if (options.ordering == VYR_ORDERING_USER && options.permutation == nullptr)
        return refuse(message, "options.permutation is null");
    if (options.duplicates < 0 || options.duplicates > 1)
        return refuse(message, "options.duplicates is %d", options.duplicates);
    if (options.threads < 0 || options.threads > MOST_THREADS)
        return refuse(message, "options.threads is %d, not between 0 and %d", options.threads, MOST_THREADS);
    if (options.refinements < -1 || options.refinements > MOST_REFINEMENTS)
        return refuse(message, "options.refinements is %d, not between -1 and %d", options.refinements,
                      MOST_REFINEMENTS);
    if (!std::isfinite(options.pivot_min)) return refuse(message, "options.pivot_min is not finite");
    if (std::isnan(options.backward_error_limit))
        return refuse(message, "options.backward_error_limit is not a number");
    if (options.matching < VYR_MATCHING_AUTOMATIC || options.matching > VYR_MATCHING_OFF)
        return refuse(message, "options.matching is %d", options.matching);
    if (options.scaling < VYR_SCALING_AUTOMATIC || options.scaling > VYR_SCALING_MATCHING)
        return refuse(message, "options.scaling is %d", options.scaling);
    if (options.pivoting < VYR_PIVOTING_DELAYED || options.pivoting > VYR_PIVOTING_STATIC)
        return refuse(message, "options.pivoting is %d", options.pivoting);
    if (options.zero_pivots < 0 || options.zero_pivots > 1)
        return refuse(message, "options.zero_pivots is %d", options.zero_pivots);
    if (!(options.pivot_share > 0 && options.pivot_share <= 0.5))
        return refuse(message, "options.pivot_share is %g, not above 0 and at most 0.5", options.pivot_share);
    if (!(options.zero_pivot >= 0 && options.zero_pivot < 1))
        return refuse(message, "options.zero_pivot is %g, not between 0 and 1", options.zero_pivot);
    if (!(options.memory_limit >= 0)) return refuse(message, "options.memory_limit is negative");
    if (options.memory_limit > 0 && options.directory == nullptr)
        return refuse(message, "options.memory_limit needs options.directory");
    return VYR_STATUS_OK;
}

} // namespace

vyr_status public_status(Status status) noexcept {
    switch (status) {
    case Status::TYPE:
        return VYR_STATUS_ARGUMENT;
    case Status::SMALL_PIVOT:
        return VYR_STATUS_NOT_POSITIVE;
    case Status::BUFFER:
        return VYR_STATUS_MEMORY;
    case Status::UPPER_ENTRY:
        return VYR_STATUS_STRUCTURE;
    default:
        return code(status);
    }
}

vyr_status take_options(const vyr_options* given, vyr_options& options, char (&message)[240]) noexcept {
    vyr_options_default(&options, sizeof options);
    if (given == nullptr) return VYR_STATUS_OK;
    if (given->size < LEAST_OPTIONS || given->size > MOST_STRUCTURE)
        return refuse(message, "options.size is %zu: fill the options with vyr_options_default", given->size);
    std::memcpy(static_cast<void*>(&options), given, std::min(given->size, sizeof options));
    options.size = sizeof options;
    return check_options(options, message);
}

vyr_status take_matrix(const vyr_matrix* matrix, InputMatrix& input, char (&message)[240]) noexcept {
    if (matrix == nullptr) {
        std::snprintf(message, sizeof message, "the matrix is null");
        return VYR_STATUS_NULL;
    }
    if (matrix->size < LEAST_MATRIX || matrix->size > MOST_STRUCTURE)
        return refuse(message, "matrix.size is %zu: set it to sizeof(vyr_matrix)", matrix->size);
    if (matrix->triangle < VYR_LOWER || matrix->triangle > VYR_BOTH)
        return refuse(message, "matrix.triangle is %d", matrix->triangle);
    if (matrix->layout != VYR_COLUMNS && matrix->layout != VYR_ROWS)
        return refuse(message, "matrix.layout is %d", matrix->layout);
    input = InputMatrix{matrix->n,
                        matrix->ptr,
                        matrix->ind,
                        matrix->values,
                        matrix->ptr_bytes,
                        matrix->base,
                        static_cast<Triangle>(matrix->triangle),
                        matrix->layout == VYR_ROWS};
    return VYR_STATUS_OK;
}

void release(SharedAnalysis* shared) noexcept {
    if (shared->references.fetch_sub(1) == 1) delete shared;
}

CallList::Entry::Entry(CallList& list, bool changes) noexcept
    : list_(list), thread_(std::this_thread::get_id()), changes_(changes), granted_(true) {
    const std::lock_guard lock(list.mutex_);
    for (const Entry* entry = list.first_; entry != nullptr; entry = entry->next_)
        if (entry->thread_ == thread_ || entry->changes_ || changes) granted_ = false;
    if (!granted_) return;
    next_ = list.first_;
    list.first_ = this;
}

CallList::Entry::~Entry() {
    if (!granted_) return;
    const std::lock_guard lock(list_.mutex_);
    Entry** link = &list_.first_;
    while (*link != this) link = &(*link)->next_;
    *link = next_;
}

HostCall::HostCall(Accounting& memory, const vyr_options& options) noexcept
    : context(memory), options_(options), progress_(options.progress, options.progress_user) {
    if (options.progress != nullptr) context.progress = &progress_;
    if (options.log != nullptr) context.log = Log{write, this, true};
    Settings& settings = context.settings;
    settings.ordering = options.ordering;
    settings.permutation = options.permutation;
    settings.pivot_min = options.pivot_min;
    settings.matching = options.matching;
    settings.matrix_scaling = options.scaling;
    settings.pivot_mode = options.pivoting;
    settings.zero_pivots = options.zero_pivots != 0;
    settings.pivot_share = options.pivot_share;
    settings.zero_pivot = options.zero_pivot;
    settings.n_threads = options.threads;
    if (options.directory != nullptr) settings.core_mode = CORE_OUT;
}

/// The engine's texts begin and end with line feeds of a console; a log gets lines.
void HostCall::write(void* self, const char* format, std::va_list arguments) {
    const HostCall& call = *static_cast<HostCall*>(self);
    if (std::this_thread::get_id() != call.caller_) return; // progress of a factorization, on its threads
    char text[1024];
    std::vsnprintf(text, sizeof text, format, arguments);
    char* begin = text + std::strspn(text, "\r\n\t ");
    std::size_t length = std::strlen(begin);
    while (length > 0 && std::strchr("\r\n\t ", begin[length - 1]) != nullptr) begin[--length] = '\0';
    if (length > 0) call.options_.log(call.options_.log_user, 0, begin);
}

} // namespace vyr::api
