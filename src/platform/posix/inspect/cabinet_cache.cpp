#include "platform/posix/inspect/cabinet_cache.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <list>
#include <map>
#include <mutex>

#include "platform/posix/kernel/content_hash.h"
#include "platform/posix/kernel/paths.h"

namespace qv::mscab::cache {
namespace {

struct Entry {
    Key key;
    bool onDisk = false;
    Bytes bytes;        // in memory
    std::string path;   // on disk
    uint64_t size = 0;
};

struct State {
    std::mutex lock;
    bool enabled = false;
    Limits limits;
    Stats stats;
    std::list<Entry> memory;  // most recently used first
    std::list<Entry> disk;
    std::map<Key, std::list<Entry>::iterator> index;
    uint64_t fileCounter = 0;
};

State& Global()
{
    static State state;
    return state;
}

void DropDiskTail(State& s)
{
    Entry& last = s.disk.back();
    ::unlink(last.path.c_str());
    s.stats.diskBytes -= last.size;
    s.index.erase(last.key);
    s.disk.pop_back();
}

// Moves the least recently used memory entries to disk until memory fits.
void Trim(State& s)
{
    while (s.stats.memoryBytes > s.limits.memoryBytes && !s.memory.empty()) {
        Entry entry = std::move(s.memory.back());
        s.memory.pop_back();
        s.index.erase(entry.key);
        s.stats.memoryBytes -= entry.size;
        if (entry.size > s.limits.diskBytes)
            continue;
        while (s.stats.diskBytes + entry.size > s.limits.diskBytes && !s.disk.empty())
            DropDiskTail(s);
        const std::string folder = qv::posix::scratch_root() + "/cabinet-cache";
        ::mkdir(folder.c_str(), 0700);
        entry.path = folder + "/" + std::to_string(++s.fileCounter);
        std::ofstream out(entry.path, std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(entry.bytes->data()), static_cast<std::streamsize>(entry.bytes->size()));
        out.close();
        if (!out) {  // no room on disk: the entry is simply forgotten
            ::unlink(entry.path.c_str());
            continue;
        }
        entry.bytes.reset();
        entry.onDisk = true;
        s.stats.diskBytes += entry.size;
        s.disk.push_front(std::move(entry));
        s.index[s.disk.front().key] = s.disk.begin();
    }
}

void ClearLocked(State& s)
{
    for (Entry& entry : s.disk)
        ::unlink(entry.path.c_str());
    s.memory.clear();
    s.disk.clear();
    s.index.clear();
    s.stats = Stats();
}

}  // namespace

void Enable(bool on, const Limits& limits)
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    ClearLocked(s);
    s.enabled = on;
    s.limits = limits;
}

bool Enabled()
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.enabled;
}

Stats GetStats()
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.stats;
}

void Clear()
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    ClearLocked(s);
}

uint64_t Fingerprint(const unsigned char* bytes, size_t size, uint64_t seed)
{
    // Cheap next to decompressing; the same hash a file in memory keeps
    // while it is written.
    qv::posix::ContentHash hash(seed);
    hash.add(bytes, size);
    return hash.finish();
}

bool Contains(const Key& key)
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.enabled && s.index.count(key) != 0;
}

Bytes Get(const Key& key)
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.enabled)
        return nullptr;
    auto found = s.index.find(key);
    if (found == s.index.end())
        return nullptr;
    Entry& entry = *found->second;
    Bytes bytes;
    if (!entry.onDisk) {
        s.memory.splice(s.memory.begin(), s.memory, found->second);
        bytes = entry.bytes;
    } else {
        std::ifstream in(entry.path, std::ios::binary);
        auto read = std::make_shared<std::vector<uint8_t>>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
        if (read->size() != entry.size) {  // the file went away: forget it
            ::unlink(entry.path.c_str());
            s.stats.diskBytes -= entry.size;
            s.disk.erase(found->second);
            s.index.erase(found);
            return nullptr;
        }
        s.disk.splice(s.disk.begin(), s.disk, found->second);
        bytes = std::move(read);
    }
    ++s.stats.served;
    return bytes;
}

void Put(const Key& key, Bytes bytes)
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    if (!s.enabled || !bytes || bytes->size() > s.limits.largestEntry || s.index.count(key))
        return;
    Entry entry;
    entry.key = key;
    entry.size = bytes->size();
    entry.bytes = std::move(bytes);
    s.stats.memoryBytes += entry.size;
    s.memory.push_front(std::move(entry));
    s.index[key] = s.memory.begin();
    Trim(s);
}

bool Fits(uint64_t size)
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    return s.enabled && size <= s.limits.largestEntry;
}

void CountDecompressed()
{
    State& s = Global();
    std::lock_guard<std::mutex> guard(s.lock);
    ++s.stats.decompressed;
}

}  // namespace qv::mscab::cache
