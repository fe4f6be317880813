// A checksum of what must come back, or stay, as it was.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vyr {

/// 64 bits of `bytes` bytes; goes on from `seed`, the hash of what came before. Another length or any change
/// of a single word gives another hash, anything else does but for one time in 2^64. No defence against
/// somebody who wants to be mistaken. Cost: about that of reading the bytes from memory.
[[nodiscard]] std::uint64_t mf_hash(const void* data, std::size_t bytes, std::uint64_t seed = 0) noexcept;

} // namespace vyr
