#include "core/hash.h"

#include <bit>
#include <cstring>

namespace vyr {

namespace {

constexpr std::uint64_t FACTOR = 0x9e3779b97f4a7c15; ///< odd: 2^64 divided by the golden ratio
constexpr int LANES = 4;
constexpr std::size_t WORD = sizeof(std::uint64_t);

/// Every step is a one-to-one map of the state and of the word, so that no change of one word is lost.
std::uint64_t step(std::uint64_t state, std::uint64_t word) noexcept {
    return std::rotl((state ^ word) * FACTOR, 29);
}

} // namespace

// Collet, "xxHash", 2012: independent lanes of multiplications and rotations hide the time of each other.
// Here a word is mixed in before the multiplication.
std::uint64_t mf_hash(const void* data, std::size_t bytes, std::uint64_t seed) noexcept {
    std::uint64_t lane[LANES];
    for (int i = 0; i < LANES; ++i) lane[i] = seed + static_cast<std::uint64_t>(i) * FACTOR;
    const char* p = static_cast<const char*>(data);
    const char* const end = p + bytes;
    for (; static_cast<std::size_t>(end - p) >= LANES * WORD; p += LANES * WORD) {
        std::uint64_t words[LANES];
        std::memcpy(words, p, sizeof words);
        for (int i = 0; i < LANES; ++i) lane[i] = step(lane[i], words[i]);
    }
    std::uint64_t hash = step(seed, bytes);
    for (const std::uint64_t one : lane) hash = step(hash, one);
    while (p != end) {
        const std::size_t left = static_cast<std::size_t>(end - p), taken = left < WORD ? left : WORD;
        std::uint64_t word = 0;
        std::memcpy(&word, p, taken);
        hash = step(hash, word);
        p += taken;
    }
    hash = (hash ^ (hash >> 32)) * FACTOR;
    return hash ^ (hash >> 29);
}

} // namespace vyr
