// The two capacity checks made before the factor storage is allocated. One megabyte is 10^6 bytes.
#pragma once

#include "platform/platform.h"

namespace vyr {

/// The memory status of the machine (of the test, when a test has put one in its place).
[[nodiscard]] bool mf_memory_status(platform::MemoryStatus& status) noexcept;

/// Can the machine hold a factor of `need_bytes`?
///
/// lenient     true skips the two hard limits (address space, page file)
/// ratio_out   out: need / available physical memory; untouched when the system does not tell
///
/// Returns 0 to go on, -1 to refuse. Warns and explains when messages are on.
[[nodiscard]] int mf_mem_check(double need_bytes, bool lenient, double& ratio_out) noexcept;

/// How large may the in-memory buffer of an out-of-core run be?
///
/// total_bytes     size of the whole factor
/// reserve_bytes   memory to leave to others
/// buffer_out      out, in every case: buffer size in bytes, normally a tenth of the factor
///
/// Returns 0 to go on, -1 to refuse. Warns and explains when messages are on.
[[nodiscard]] int mf_ooc_buffer(double total_bytes, double reserve_bytes, double& buffer_out) noexcept;

} // namespace vyr
