// Decompressed cabinet entries shared by every check of one run. Each check
// opens its cabinets afresh (an embedded one is even written to a new
// temporary file), so entries are keyed by the cabinet's content, not its
// path: a fingerprint of its bytes and the entry's index in the cabinet.
// Small entries stay in memory, larger ones and those pushed out of memory
// go to files in the scratch folder; both tiers are bounded and drop their
// least recently used entries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace qv::mscab::cache {

struct Limits {
    uint64_t memoryBytes = 256ull << 20;
    uint64_t diskBytes = 2ull << 30;
    uint64_t largestEntry = 64ull << 20;  // larger entries bypass the cache
};

struct Stats {
    uint64_t decompressed = 0;  // entries decompressed by the engine
    uint64_t served = 0;        // copies answered from the cache
    uint64_t memoryBytes = 0;
    uint64_t diskBytes = 0;
};

// Off by default: the qvice runner turns it on for a run.
void Enable(bool on, const Limits& limits = Limits());
bool Enabled();
Stats GetStats();
// Drops every entry and zeroes the counters.
void Clear();

struct Key {
    uint64_t cabinet;
    uint32_t entry;
    bool operator<(const Key& other) const
    {
        return cabinet != other.cabinet ? cabinet < other.cabinet : entry < other.entry;
    }
};

// Fingerprint of a cabinet's bytes (never 0 for a readable cabinet).
uint64_t Fingerprint(const unsigned char* bytes, size_t size, uint64_t seed);

// An entry's bytes, shared between the cache and its readers: a copy served
// from memory costs no copy of the bytes.
using Bytes = std::shared_ptr<const std::vector<uint8_t>>;

bool Contains(const Key& key);
// The entry's bytes; null when it is not cached (or its file is gone).
Bytes Get(const Key& key);
void Put(const Key& key, Bytes bytes);
bool Fits(uint64_t size);
void CountDecompressed();

}  // namespace qv::mscab::cache
