// A hash of a file's bytes that can be fed in pieces: FNV-1a over 8-byte
// words in four interleaved lanes, so that their multiplications overlap,
// then the lanes and the length. The pieces may be cut anywhere: the result
// is that of the whole in one piece. Files in memory keep one while they are
// written front to back, so that the entry cache need not read them again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace qv::posix {

class ContentHash {
public:
    explicit ContentHash(uint64_t seed = 0)
    {
        for (uint64_t k = 0; k < 4; ++k)
            lanes_[k] = (kOffset ^ seed) + k * 0x9E3779B97F4A7C15ull;
    }

    void add(const uint8_t* data, size_t count)
    {
        size_ += count;
        if (carried_) {
            const size_t take = count < 32 - carried_ ? count : 32 - carried_;
            std::memcpy(carry_ + carried_, data, take);
            carried_ += take;
            data += take;
            count -= take;
            if (carried_ < 32)
                return;
            block(carry_);
            carried_ = 0;
        }
        for (; count >= 32; data += 32, count -= 32)
            block(data);
        std::memcpy(carry_, data, count);
        carried_ = count;
    }

    // The hash of all bytes added so far; never 0.
    uint64_t finish() const
    {
        uint64_t lane0 = lanes_[0];
        size_t i = 0;
        for (; i + 8 <= carried_; i += 8) {
            uint64_t word;
            std::memcpy(&word, carry_ + i, 8);
            lane0 = (lane0 ^ word) * kPrime;
        }
        for (; i < carried_; ++i)
            lane0 = (lane0 ^ carry_[i]) * kPrime;
        uint64_t hash = lane0;
        for (size_t k = 1; k < 4; ++k)
            hash = (hash ^ lanes_[k]) * kPrime;
        hash = (hash ^ size_) * kPrime;
        return hash ? hash : 1;
    }

private:
    static constexpr uint64_t kOffset = 1469598103934665603ull;
    static constexpr uint64_t kPrime = 1099511628211ull;

    void block(const uint8_t* data)
    {
        for (size_t k = 0; k < 4; ++k) {
            uint64_t word;
            std::memcpy(&word, data + 8 * k, 8);
            lanes_[k] = (lanes_[k] ^ word) * kPrime;
        }
    }

    uint64_t lanes_[4];
    uint8_t carry_[32];
    size_t carried_ = 0;
    uint64_t size_ = 0;
};

}  // namespace qv::posix
