// What METIS, built with cmake/metis/redirect.h, and AMD, built with cmake/amd/amd_internal.h, get instead of
// the C library: accounted memory, random numbers of their own, and a way out.
//
// They hand none of these functions anything of ours, so the call they belong to is found through the thread.
// A failing one leaves them by longjmp, over frames of C; what they then hold is released by the list of
// their blocks.
#include "core/accounting.h"
#include "platform/process.h"
#include "symbolic/metis_call.h"
#include "symbolic/random.h"

#include <algorithm>
#include <csetjmp>
#include <cstdarg>
#include <cstddef>
#include <cstring>
#include <new>

namespace vyr {

namespace {

/// Numbers drawn between two looks at the clock that a progress callback needs: some 10 microseconds.
constexpr unsigned DRAWS_PER_LOOK = 1024;

/// Pivots of AMD between two looks: far below a millisecond, a few at its end.
constexpr unsigned PIVOTS_PER_LOOK = 64;

/// Stands before each block, in the list of its call.
struct alignas(std::max_align_t) BlockHead {
    BlockHead* previous;
    BlockHead* next;
    std::size_t bytes; ///< of the block behind
};

struct OrderingCall {
    explicit OrderingCall(Context& of) noexcept : context(of) {}

    Context& context;
    BlockHead blocks{&blocks, &blocks, 0}; ///< a ring
    AdditiveRandom random;
    unsigned steps = 0; ///< random numbers, or pivots of AMD
    Status status = Status::OK;
    std::jmp_buf way_out;
};

OrderingCall& running() noexcept {
    return *static_cast<OrderingCall*>(platform::ordering_call());
}

[[noreturn]] void leave(OrderingCall& call, Status status) noexcept {
    call.status = status;
    std::longjmp(call.way_out, 1);
}

void look(OrderingCall& call) noexcept {
    const std::atomic<bool>* cancel = call.context.cancel;
    const bool cancelled = cancel != nullptr && cancel->load(std::memory_order_relaxed);
    if (cancelled || mf_stop(call.context)) leave(call, Status::CANCELLED);
}

BlockHead* head_of(void* block) noexcept {
    return static_cast<BlockHead*>(block) - 1;
}

void* allocate(OrderingCall& call, std::size_t bytes) noexcept {
    look(call);
    void* memory = bytes > SIZE_MAX - sizeof(BlockHead)
                       ? nullptr
                       : mf_malloc(call.context.memory, sizeof(BlockHead) + bytes);
    if (memory == nullptr) leave(call, out_of_memory(call.context, Status::FACTOR_STORAGE));
    auto* head = new (memory) BlockHead{&call.blocks, call.blocks.next, bytes};
    head->next->previous = head;
    call.blocks.next = head;
    return head + 1;
}

void release(OrderingCall& call, BlockHead* head) noexcept {
    head->previous->next = head->next;
    head->next->previous = head->previous;
    mf_free(call.context.memory, head);
}

/// Comes back by leave() or with the outcome of the call.
Status run(OrderingCall& call, Status (*order)(Context& context, void* arguments), void* arguments) noexcept {
    if (setjmp(call.way_out) != 0) return call.status;
    return order(call.context, arguments);
}

} // namespace

Status mf_ordering_call(Context& context, Status (*call)(Context& context, void* arguments),
                        void* arguments) noexcept {
    OrderingCall state(context);
    // A progress callback may order another matrix on this thread.
    void* before = platform::exchange_ordering_call(&state);
    const Status status = run(state, call, arguments);
    platform::exchange_ordering_call(before);
    while (state.blocks.next != &state.blocks) release(state, state.blocks.next);
    return status;
}

bool mf_ordering_can_be_cancelled() noexcept {
    return true;
}

} // namespace vyr

using namespace vyr;

// Named in cmake/metis/redirect.h and cmake/amd/amd_internal.h. Called by METIS and AMD alone, inside
// mf_ordering_call.
extern "C" {

void* vyr_metis_malloc(std::size_t bytes) noexcept {
    return allocate(running(), bytes);
}

void vyr_metis_free(void* block) noexcept {
    if (block != nullptr) release(running(), head_of(block));
}

void* vyr_metis_realloc(void* block, std::size_t bytes) noexcept {
    OrderingCall& call = running();
    void* moved = allocate(call, bytes);
    if (block == nullptr) return moved;
    std::memcpy(moved, block, std::min(bytes, head_of(block)->bytes));
    release(call, head_of(block));
    return moved;
}

/// Frees the blocks that the arguments, addresses of pointers, point to, and clears the pointers. Null ends
/// the list.
void vyr_metis_free_list(void** first, ...) noexcept {
    std::va_list rest;
    va_start(rest, first);
    for (void** pointer = first; pointer != nullptr; pointer = va_arg(rest, void**)) {
        vyr_metis_free(*pointer);
        *pointer = nullptr;
    }
    va_end(rest);
}

void vyr_metis_srand(unsigned seed) noexcept {
    running().random.seed(seed);
}

int vyr_metis_rand() noexcept {
    OrderingCall& call = running();
    if (++call.steps % DRAWS_PER_LOOK == 0) look(call);
    return call.random.draw();
}

void vyr_metis_look() noexcept {
    look(running());
}

void vyr_amd_step() noexcept {
    OrderingCall& call = running();
    if (++call.steps % PIVOTS_PER_LOOK == 0) look(call);
}

[[noreturn]] void vyr_metis_fail() noexcept {
    OrderingCall& call = running();
    leave(call, fail(call.context, Status::ORDERING, "METIS gave up"));
}

} // extern "C"
