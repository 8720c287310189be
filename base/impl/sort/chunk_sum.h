// A sum over a chunk's bytes that shows whether the disk gave back what it was given. It guards against a failing device, not
// against somebody who forges both. Four lanes of multiply and rotate (the mixing step of common non-cryptographic hashes) keep
// it at a few bytes per cycle, far below the cost of moving the bytes.
#ifndef KTB_IMPL_SORT_CHUNK_SUM_H
#define KTB_IMPL_SORT_CHUNK_SUM_H

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

inline std::uint64_t chunkSum(const unsigned char* bytes, std::size_t count) {
    constexpr std::uint64_t odd = 0x9e3779b97f4a7c15UL;  // 2^64 divided by the golden ratio
    constexpr std::size_t laneCount = 4;
    std::uint64_t lanes[laneCount] = {count, odd, ~count, ~odd};
    const auto mix = [](std::uint64_t lane, std::uint64_t word) { return std::rotl((lane ^ word) * odd, 31); };
    std::size_t done = 0;
    for (; count - done >= sizeof lanes; done += sizeof lanes) {
        std::uint64_t words[laneCount];
        std::memcpy(words, bytes + done, sizeof words);
        for (std::size_t i = 0; i < laneCount; ++i) lanes[i] = mix(lanes[i], words[i]);
    }
    std::uint64_t rest[laneCount] = {};
    if (done != count) std::memcpy(rest, bytes + done, count - done);
    std::uint64_t sum = odd;
    for (std::size_t i = 0; i < laneCount; ++i) sum = mix(mix(sum, lanes[i]), rest[i]);
    return sum;
}

#endif
