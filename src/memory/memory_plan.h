// What the machine can give: the two capacity checks made before factor storage is allocated, and what is
// said and done when memory runs out. One megabyte is 10^6 bytes.
#pragma once

#include "core/context.h"
#include "platform/platform.h"

namespace vyr {

/// The memory status of the machine; false when the system does not tell.
[[nodiscard]] bool mf_memory_status(const Context& context, platform::MemoryStatus& status) noexcept;

/// Can the machine hold a factor of `need_bytes`?
///
/// lenient     true skips the two hard limits (address space, page file)
/// ratio_out   out: need / available physical memory; untouched when the system does not tell
///
/// Returns OK to go on, FACTOR_STORAGE to refuse. Warns and explains when messages are on.
Status mf_mem_check(Context& context, double need_bytes, bool lenient, double& ratio_out) noexcept;

/// How large may the in-memory buffer of an out-of-core run be?
///
/// total_bytes     size of the whole factor
/// reserve_bytes   memory to leave to others
/// buffer_out      out, in every case: buffer size in bytes, normally a tenth of the factor
///
/// Returns OK to go on, BUFFER to refuse. Warns and explains when messages are on.
Status mf_ooc_buffer(Context& context, double total_bytes, double reserve_bytes, double& buffer_out) noexcept;

/// Gives unused heap memory back to the system; a failure is a message.
void mf_heap_compact(const Context& context) noexcept;

/// Reports a request of `bytes` bytes that could not be met, and what memory there is; prints only when
/// messages are on.
///
/// context_text   what the memory was for, one sentence without a full stop
void mf_alloc_failed(const Context& context, double bytes, const char* context_text) noexcept;

} // namespace vyr
