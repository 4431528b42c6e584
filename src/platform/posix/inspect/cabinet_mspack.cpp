// The POSIX back end of CabinetEngine over libmspack, with its own
// mspack_system over the engine's file callbacks (qv::file). One context
// keeps its cabinet and its decompressor open across Copy calls, so entries
// asked for in their cabinet order decompress each folder once: libmspack
// resumes within a folder when the next entry lies at or after the point
// reached. With the entry cache on, MSZIP folders that are sound throughout
// are read by the zlib reader of mszip_folder.h instead, and the library
// takes whatever that reader declines.
#include <mspack.h>

#include <algorithm>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "inspect/cabinet.h"
#include "platform/posix/inspect/cabinet_cache.h"
#include "platform/posix/inspect/mszip_folder.h"
#include "platform/posix/kernel/paths.h"

namespace qv::mscab::backend {

namespace {

// The pseudo-name under which libmspack opens the output of an entry: the
// handle that notification 2 returned.
const char kOutputName[] = "\x01qv-cabinet-output";

struct Context;

// The open cabinet's bytes, mapped while the entry cache is on: they give
// its fingerprint and feed the MSZIP reader.
struct MappedCabinet {
    intptr_t handle = -1;
    HANDLE mapping = nullptr;
    const uint8_t* view = nullptr;
    size_t size = 0;
};

// Where the MSZIP reader stands in the open cabinet.
struct FastFolders {
    bool usable = false;  // a single cabinet whose folder table matches the library's
    mszip::Layout layout;
    std::vector<mscabd_folder*> folders;  // the library's folders, in table order
    std::vector<bool> declined;           // folders left to the library
    int folder = -1;                      // the folder being read, or -1
    mszip::FolderDecoder decoder;
    std::vector<uint32_t> order;  // entries of that folder by offset
    size_t nextStart = 0;         // first entry of `order` not yet started
    struct Pending {
        uint32_t index;
        std::shared_ptr<std::vector<uint8_t>> bytes;
    };
    std::vector<Pending> pending;  // entries started and not yet complete
    // Entries after the wanted one that the last block completed. They are
    // handed out from here when asked for in this context, as the library
    // would decompress them then, and go to the cache when it closes.
    std::vector<Pending> ready;
};

struct File {
    Context* context;
    intptr_t handle;
    bool output;
    std::vector<uint8_t>* memory = nullptr;  // output gathered for the entry cache
};

struct Context {
    mspack_system sys;  // first member: the system pointer is the context
    mscab_decompressor* decompressor = nullptr;
    mscabd_cabinet* cabinet = nullptr;
    std::string cabinetPath;
    intptr_t output = 0;
    std::vector<uint8_t>* memory = nullptr;  // output to memory instead of a handle
    qv::win32_exception* pending = nullptr;  // thrown by a callback inside libmspack
    uint64_t bytesRead = 0;
    uint64_t fingerprint = 0;  // of the open cabinet, when the entry cache is on
    MappedCabinet mapped;
    std::unique_ptr<FastFolders> fast;  // built at the first entry the cache misses
    // Where the decompressor stands: it resumes within this folder when
    // the next entry starts at or after this offset.
    mscabd_folder* folder = nullptr;
    off_t folderEnd = 0;
    // The open cabinet's entries in order, and their indices by name in
    // ASCII lower case; names with other bytes are always compared.
    std::vector<mscabd_file*> entries;
    std::unordered_map<std::string, std::vector<uint32_t>> byName;
    std::vector<uint32_t> otherNames;
};

bool IsAscii(const char* name)
{
    for (; *name; ++name)
        if (static_cast<unsigned char>(*name) >= 0x80)
            return false;
    return true;
}

std::string AsciiLower(const char* name)
{
    std::string key(name);
    for (char& c : key)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + 0x20);
    return key;
}

void IndexEntries(Context* context)
{
    context->entries.clear();
    context->byName.clear();
    context->otherNames.clear();
    for (mscabd_file* f = context->cabinet->files; f; f = f->next) {
        const auto index = static_cast<uint32_t>(context->entries.size());
        context->entries.push_back(f);
        if (IsAscii(f->filename))
            context->byName[AsciiLower(f->filename)].push_back(index);
        else
            context->otherNames.push_back(index);
    }
}

// The entries that the engine's copy notification can take, in cabinet
// order: only those named like the wanted file, without regard to case.
// Offering the others too would only have them skipped one by one.
std::vector<uint32_t> Candidates(Context* context, const char* wanted)
{
    std::vector<uint32_t> found;
    if (!IsAscii(wanted)) {
        for (uint32_t i = 0; i < context->entries.size(); ++i)
            if (lstrcmpiA(context->entries[i]->filename, wanted) == 0)
                found.push_back(i);
        return found;
    }
    auto named = context->byName.find(AsciiLower(wanted));
    if (named != context->byName.end())
        found = named->second;
    for (uint32_t i : context->otherNames)
        if (lstrcmpiA(context->entries[i]->filename, wanted) == 0)
            found.push_back(i);
    std::sort(found.begin(), found.end());
    return found;
}

Context* Of(mspack_system* self) { return reinterpret_cast<Context*>(self); }

// Exceptions must not cross libmspack's C frames: keep the first one and
// report an error to the library; Copy throws it once libmspack returns.
template <class F>
auto Guard(Context* context, F&& body, decltype(body()) failure) noexcept -> decltype(body())
{
    try {
        return body();
    } catch (qv::win32_exception* e) {
        if (!context->pending)
            context->pending = e;
        else
            delete e;
    } catch (...) {
    }
    return failure;
}

mspack_file* SysOpen(mspack_system* self, const char* filename, int mode)
{
    Context* context = Of(self);
    if (std::strcmp(filename, kOutputName) == 0) {
        if (mode != MSPACK_SYS_OPEN_WRITE || (!context->output && !context->memory))
            return nullptr;
        return reinterpret_cast<mspack_file*>(new (std::nothrow) File{context, context->output, true, context->memory});
    }
    if (mode != MSPACK_SYS_OPEN_READ)
        return nullptr;
    const intptr_t handle = Guard(context, [&] { return CabinetEngine::FileOpen(filename, 0, 0); }, intptr_t(-1));
    if (handle == -1)
        return nullptr;
    auto* file = new (std::nothrow) File{context, handle, false};
    if (!file)
        CabinetEngine::FileClose(handle);
    return reinterpret_cast<mspack_file*>(file);
}

void SysClose(mspack_file* f)
{
    File* file = reinterpret_cast<File*>(f);
    if (!file)
        return;
    // The output handle belongs to notification 3, which closes it.
    if (!file->output)
        CabinetEngine::FileClose(file->handle);
    delete file;
}

int SysRead(mspack_file* f, void* buffer, int bytes)
{
    File* file = reinterpret_cast<File*>(f);
    // libmspack can ask with a null handle on some damaged cabinets.
    if (!file || bytes < 0 || file->output)
        return -1;
    const int got = Guard(
        file->context,
        [&] { return static_cast<int>(CabinetEngine::FileRead(file->handle, buffer, static_cast<unsigned>(bytes))); },
        -1);
    if (got > 0)
        file->context->bytesRead += static_cast<uint64_t>(got);
    return got;
}

int SysWrite(mspack_file* f, void* buffer, int bytes)
{
    File* file = reinterpret_cast<File*>(f);
    if (!file || bytes < 0)
        return -1;
    if (file->memory) {
        const auto* from = static_cast<const uint8_t*>(buffer);
        file->memory->insert(file->memory->end(), from, from + bytes);
        return bytes;
    }
    return Guard(
        file->context,
        [&] { return static_cast<int>(CabinetEngine::FileWrite(file->handle, buffer, static_cast<unsigned>(bytes))); },
        -1);
}

int SysSeek(mspack_file* f, off_t offset, int mode)
{
    File* file = reinterpret_cast<File*>(f);
    if (!file || offset < -0x7FFFFFFFL || offset > 0x7FFFFFFFL)
        return -1;
    const int origin = mode == MSPACK_SYS_SEEK_START ? 0 : mode == MSPACK_SYS_SEEK_CUR ? 1 : 2;
    return Guard(
        file->context,
        [&] {
            CabinetEngine::FileSeek(file->handle, static_cast<long>(offset), origin);
            return 0;
        },
        -1);
}

off_t SysTell(mspack_file* f)
{
    File* file = reinterpret_cast<File*>(f);
    if (!file)
        return -1;
    return Guard(file->context, [&] { return static_cast<off_t>(CabinetEngine::FileSeek(file->handle, 0, 1)); },
                 off_t(-1));
}

void SysMessage(mspack_file*, const char*, ...) {}
void* SysAlloc(mspack_system*, size_t bytes) { return std::malloc(bytes); }
void SysFree(void* p) { std::free(p); }
void SysCopy(void* src, void* dest, size_t bytes) { std::memcpy(dest, src, bytes); }

int ErrorOperation(int mspackError)
{
    switch (mspackError) {
    case MSPACK_ERR_OK: return kErrorNone;
    case MSPACK_ERR_OPEN: return kErrorCabinetNotFound;
    case MSPACK_ERR_SIGNATURE: return kErrorNotACabinet;
    case MSPACK_ERR_NOMEMORY: return kErrorAllocFail;
    case MSPACK_ERR_WRITE: return kErrorTargetFile;
    case MSPACK_ERR_DECRUNCH: return kErrorDecompressorFail;
    default: return kErrorCorruptCabinet;  // read, seek, data format, checksum
    }
}

void Fail(CabinetEngine::ErrorRecord& erf, int operation)
{
    erf.erfOper = operation;
    erf.erfType = 0;
    erf.fError = 1;
}

uint16_t DosDate(const mscabd_file* f)
{
    return static_cast<uint16_t>(((f->date_y - 1980) << 9) | (f->date_m << 5) | f->date_d);
}

uint16_t DosTime(const mscabd_file* f)
{
    return static_cast<uint16_t>((f->time_h << 11) | (f->time_m << 5) | (f->time_s >> 1));
}

// The system handle of a file the engine's callbacks opened.
HANDLE SystemHandle(intptr_t handle) { return reinterpret_cast<qv::mscab::cabinet_file*>(handle)->Handle(); }

// Lets go of the open cabinet's bytes and of the MSZIP reader's state; the
// entries the reader completed ahead of their turn go to the cache first.
void Unmap(Context* context)
{
    if (context->fast)
        for (FastFolders::Pending& entry : context->fast->ready)
            qv::mscab::cache::Put(qv::mscab::cache::Key{context->fingerprint, entry.index}, std::move(entry.bytes));
    MappedCabinet& m = context->mapped;
    if (m.view)
        UnmapViewOfFile(m.view);
    if (m.mapping)
        CloseHandle(m.mapping);
    if (m.handle != -1)
        CabinetEngine::FileClose(m.handle);
    m = MappedCabinet();
    context->fast.reset();
}

// Maps the cabinet for the entry cache and takes its fingerprint; 0 when it
// cannot be read (the cache then stays out of the way). A cabinet the
// kernel keeps in memory is mapped in place.
uint64_t MapAndFingerprint(Context* context, const std::string& path)
{
    Unmap(context);
    MappedCabinet& m = context->mapped;
    try {
        m.handle = CabinetEngine::FileOpen(path.c_str(), 0, 0);
        if (m.handle == -1)
            return 0;
        const HANDLE file = SystemHandle(m.handle);
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(file, &size) || size.QuadPart <= 0)
            return 0;
        m.mapping = CreateFileMappingW(file, nullptr, PAGE_READONLY, 0, 0, nullptr);
        if (!m.mapping)
            return 0;
        m.view = static_cast<const uint8_t*>(MapViewOfFile(m.mapping, FILE_MAP_READ, 0, 0, 0));
        if (!m.view)
            return 0;
        m.size = static_cast<size_t>(size.QuadPart);
    } catch (qv::win32_exception* e) {
        delete e;
        Unmap(context);
        return 0;
    }
    // A cabinet written to memory front to back (an embedded one, copied out
    // of the package) comes with its hash: its bytes need no second reading.
    uint64_t hash = 0;
    if (qv::posix::memory_content_hash(SystemHandle(m.handle), hash))
        return hash;
    return qv::mscab::cache::Fingerprint(m.view, m.size, 0);
}

FastFolders& Fast(Context* context)
{
    if (context->fast)
        return *context->fast;
    context->fast = std::make_unique<FastFolders>();
    FastFolders& fast = *context->fast;
    for (mscabd_folder* folder = context->cabinet->folders; folder; folder = folder->next)
        fast.folders.push_back(folder);
    fast.usable = context->mapped.view &&
                  mszip::ReadLayout(context->mapped.view, context->mapped.size, fast.layout) &&
                  fast.layout.folders.size() == fast.folders.size();
    fast.declined.assign(fast.folders.size(), false);
    return fast;
}

// Reads entry `index` with the MSZIP reader, keeping in the cache the
// entries of its folder that the reader passes on its way, as Prefetch does
// for the library. Null when the reader declines the folder or fails in it:
// the folder is then left to the library for the rest of this context.
qv::mscab::cache::Bytes FastExtract(Context* context, uint32_t index)
{
    namespace cache = qv::mscab::cache;
    constexpr size_t kMostPending = 16;  // entries of a sound folder do not overlap
    FastFolders& fast = Fast(context);
    if (!fast.usable)
        return nullptr;
    for (auto r = fast.ready.begin(); r != fast.ready.end(); ++r) {
        if (r->index == index) {
            cache::Bytes bytes = std::move(r->bytes);
            fast.ready.erase(r);
            return bytes;
        }
    }
    mscabd_file* wanted = context->entries[index];
    const auto at = std::find(fast.folders.begin(), fast.folders.end(), wanted->folder);
    if (at == fast.folders.end())
        return nullptr;
    const int folder = static_cast<int>(at - fast.folders.begin());
    if (fast.declined[static_cast<size_t>(folder)])
        return nullptr;
    auto decline = [&]() -> cache::Bytes {
        fast.declined[static_cast<size_t>(folder)] = true;
        fast.folder = -1;
        fast.pending.clear();
        return nullptr;
    };

    const bool started = std::any_of(fast.pending.begin(), fast.pending.end(),
                                     [index](const FastFolders::Pending& p) { return p.index == index; });
    if (fast.folder != folder || (!started && wanted->offset < fast.decoder.Position())) {
        // Start the folder over, as the library does for an entry behind it.
        fast.pending.clear();
        fast.folder = folder;
        if (!fast.decoder.Start(context->mapped.view, context->mapped.size, fast.layout, static_cast<size_t>(folder)))
            return decline();
        fast.order.clear();
        for (uint32_t i = 0; i < context->entries.size(); ++i)
            if (context->entries[i]->folder == wanted->folder)
                fast.order.push_back(i);
        std::stable_sort(fast.order.begin(), fast.order.end(), [context](uint32_t a, uint32_t b) {
            return context->entries[a]->offset < context->entries[b]->offset;
        });
        fast.nextStart = 0;
    }

    const uint64_t folderLength = fast.decoder.FolderLength();
    for (;;) {
        const uint64_t from = fast.decoder.Position();
        const uint8_t* block = nullptr;
        size_t length = 0;
        if (!fast.decoder.Next(block, length))
            return decline();
        const uint64_t to = from + length;
        while (fast.nextStart < fast.order.size()) {
            const uint32_t i = fast.order[fast.nextStart];
            const mscabd_file* f = context->entries[i];
            const uint64_t offset = static_cast<uint64_t>(f->offset);
            if (offset > to || (offset == to && f->length > 0))
                break;
            ++fast.nextStart;
            auto isReady = [i](const FastFolders::Pending& r) { return r.index == i; };
            if (i != index && (!cache::Fits(f->length) || cache::Contains(cache::Key{context->fingerprint, i}) ||
                               std::any_of(fast.ready.begin(), fast.ready.end(), isReady) ||
                               fast.pending.size() + fast.ready.size() >= kMostPending))
                continue;
            auto bytes = std::make_shared<std::vector<uint8_t>>();
            bytes->reserve(static_cast<size_t>(
                std::min<uint64_t>(f->length, offset < folderLength ? folderLength - offset : 0)));
            fast.pending.push_back(FastFolders::Pending{i, std::move(bytes)});
        }
        cache::Bytes result;
        for (auto p = fast.pending.begin(); p != fast.pending.end();) {
            const mscabd_file* f = context->entries[p->index];
            const uint64_t begin = std::max<uint64_t>(from, static_cast<uint64_t>(f->offset));
            const uint64_t end = std::min<uint64_t>(to, static_cast<uint64_t>(f->offset) + f->length);
            if (begin < end)
                p->bytes->insert(p->bytes->end(), block + (begin - from), block + (end - from));
            if (static_cast<uint64_t>(f->offset) + f->length > to) {
                ++p;
                continue;
            }
            cache::CountDecompressed();
            // Entries before the wanted one are those the library would pass
            // on its way: they go to the cache, as Prefetch puts them.
            if (p->index == index)
                result = std::move(p->bytes);
            else if (f->offset >= wanted->offset)
                fast.ready.push_back(std::move(*p));
            else
                cache::Put(cache::Key{context->fingerprint, p->index}, std::move(p->bytes));
            p = fast.pending.erase(p);
        }
        if (result)
            return result;
    }
}

// Decompresses one entry to the given handle, or to memory when bytes is
// set; the decompressor's position moves past the entry.
int Extract(Context* context, mscabd_file* f, intptr_t handle, std::vector<uint8_t>* bytes)
{
    mscab_decompressor* d = context->decompressor;
    context->output = handle;
    context->memory = bytes;
    // Bytes for the cache come only for entries the cache can hold (Fits):
    // room for all of them at once spares the copies of a growing buffer.
    if (bytes)
        bytes->reserve(f->length);
    const int result = d->extract(d, f, kOutputName);
    context->output = 0;
    context->memory = nullptr;
    qv::mscab::cache::CountDecompressed();
    context->folder = f->folder;
    context->folderEnd = static_cast<off_t>(f->offset) + static_cast<off_t>(f->length);
    return result;
}

// Before decompressing entry `wanted`, keeps in the cache the entries of its
// folder that the decompressor passes over on its way there anyway.
void Prefetch(Context* context, mscabd_file* wanted)
{
    namespace cache = qv::mscab::cache;
    const bool resumes = context->folder == wanted->folder && static_cast<off_t>(wanted->offset) >= context->folderEnd;
    const off_t from = resumes ? context->folderEnd : 0;
    uint32_t index = 0;
    for (mscabd_file* f = context->cabinet->files; f && f != wanted; f = f->next, ++index) {
        if (f->folder != wanted->folder || static_cast<off_t>(f->offset) < from || f->offset >= wanted->offset ||
            (context->folder == f->folder && static_cast<off_t>(f->offset) < context->folderEnd))
            continue;
        const cache::Key key{context->fingerprint, index};
        if (!cache::Fits(f->length) || cache::Contains(key))
            continue;
        auto bytes = std::make_shared<std::vector<uint8_t>>();
        if (Extract(context, f, 0, bytes.get()) != MSPACK_ERR_OK || context->pending)
            return;  // the wanted entry's own extraction reports the trouble
        cache::Put(key, std::move(bytes));
    }
}

// Writes cached bytes to the handle of notification 2; false on a short write.
bool WriteCached(intptr_t handle, const qv::mscab::cache::Bytes& bytes)
{
    // A new file that the kernel keeps in memory takes the cached bytes as
    // they are, with no copy: they are never changed in place.
    if (qv::posix::adopt_memory_bytes(SystemHandle(handle), bytes))
        return true;
    size_t done = 0;
    while (done < bytes->size()) {
        const unsigned piece = static_cast<unsigned>(std::min<size_t>(bytes->size() - done, 1u << 20));
        if (CabinetEngine::FileWrite(handle, bytes->data() + done, piece) != piece)
            return false;
        done += piece;
    }
    return true;
}

}  // namespace

bool Load() noexcept
{
    int result = MSPACK_ERR_OK;
    MSPACK_SYS_SELFTEST(result);
    return result == MSPACK_ERR_OK;
}

void* Create(CabinetEngine::ErrorRecord& erf) noexcept
{
    auto* context = new (std::nothrow) Context();
    if (!context) {
        Fail(erf, kErrorAllocFail);
        return nullptr;
    }
    context->sys = mspack_system{SysOpen, SysClose, SysRead,  SysWrite, SysSeek, SysTell,
                                 SysMessage, SysAlloc, SysFree, SysCopy, nullptr};
    context->decompressor = mspack_create_cab_decompressor(&context->sys);
    if (!context->decompressor) {
        delete context;
        Fail(erf, kErrorAllocFail);
        return nullptr;
    }
    return context;
}

void Destroy(void* handle) noexcept
{
    auto* context = static_cast<Context*>(handle);
    if (!context)
        return;
    if (context->cabinet)
        context->decompressor->close(context->decompressor, context->cabinet);
    Unmap(context);
    mspack_destroy_cab_decompressor(context->decompressor);
    delete context->pending;
    delete context;
}

uint64_t CabinetBytesRead(void* handle) noexcept { return static_cast<Context*>(handle)->bytesRead; }

bool Copy(void* handle, const char* name, const char* folder, void* user, CabinetEngine::ErrorRecord& erf)
{
    auto* context = static_cast<Context*>(handle);
    mscab_decompressor* d = context->decompressor;
    auto takePending = [context] {
        qv::win32_exception* e = context->pending;
        context->pending = nullptr;
        return e;
    };

    std::string path = std::string(folder) + name;
    if (!context->cabinet || context->cabinetPath != path) {
        if (context->cabinet)
            d->close(d, context->cabinet);
        context->cabinetPath = path;
        context->folder = nullptr;
        if (qv::mscab::cache::Enabled()) {
            context->fingerprint = MapAndFingerprint(context, path);
        } else {
            Unmap(context);
            context->fingerprint = 0;
        }
        context->cabinet = d->open(d, context->cabinetPath.c_str());
        if (qv::win32_exception* e = takePending())
            delete e;  // an unreadable cabinet is an error of the copy, as a missing one
        if (!context->cabinet) {
            Unmap(context);
            context->entries.clear();
            context->byName.clear();
            context->otherNames.clear();
            Fail(erf, ErrorOperation(d->last_error(d)));
            return false;
        }
        IndexEntries(context);
    }

    Notification info;
    info.pv = user;
    info.psz1 = context->cabinet->nextname;
    info.psz3 = const_cast<char*>(folder);
    info.setID = context->cabinet->set_id;
    info.iCabinet = context->cabinet->set_index;
    if (CabinetEngine::Notify(kNotifyCabinetInfo, &info) == -1) {
        Fail(erf, kErrorUserAbort);
        return false;
    }

    for (const uint32_t index : Candidates(context, static_cast<CabinetEngine*>(user)->WantedFile())) {
        mscabd_file* f = context->entries[index];
        Notification n;
        n.pv = user;
        n.psz1 = f->filename;
        n.cb = static_cast<long>(f->length);
        n.date = DosDate(f);
        n.time = DosTime(f);
        n.attribs = static_cast<uint16_t>(f->attribs);
        n.setID = context->cabinet->set_id;
        n.iCabinet = context->cabinet->set_index;
        const intptr_t hf = CabinetEngine::Notify(kNotifyCopyFile, &n);
        if (hf == 0)
            continue;
        if (hf == -1) {
            Fail(erf, kErrorUserAbort);
            return false;
        }
        // From the cache when a check of this run has had the entry already;
        // else decompressed once for all of them.
        namespace cache = qv::mscab::cache;
        const cache::Key key{context->fingerprint, index};
        cache::Bytes bytes = context->fingerprint ? cache::Get(key) : nullptr;
        int result = MSPACK_ERR_OK;
        if (!bytes && context->fingerprint && cache::Fits(f->length)) {
            bytes = FastExtract(context, index);
            if (bytes) {
                cache::Put(key, bytes);
            } else {
                Prefetch(context, f);
                auto fresh = std::make_shared<std::vector<uint8_t>>();
                if (!context->pending)
                    result = Extract(context, f, 0, fresh.get());
                if (result == MSPACK_ERR_OK && !context->pending) {
                    bytes = std::move(fresh);
                    cache::Put(key, bytes);
                }
            }
        } else if (!bytes) {
            result = Extract(context, f, hf, nullptr);
        }
        if (bytes) {
            bool written = false;
            try {
                written = WriteCached(hf, bytes);
            } catch (...) {
                CabinetEngine::FileClose(hf);
                throw;
            }
            if (!written) {
                CabinetEngine::FileClose(hf);
                Fail(erf, kErrorTargetFile);
                return false;
            }
        }
        if (qv::win32_exception* e = takePending()) {
            CabinetEngine::FileClose(hf);
            // Thrown again with the type it was thrown with: callers catch
            // qv::file_exception*.
            if (auto* fileError = dynamic_cast<qv::file_exception*>(e))
                throw fileError;
            throw e;
        }
        if (result != MSPACK_ERR_OK) {
            CabinetEngine::FileClose(hf);
            Fail(erf, ErrorOperation(result));
            return false;
        }
        n.hf = hf;
        n.cb = (f->attribs & kAttributeExecute) ? 1 : 0;
        n.attribs = static_cast<uint16_t>(f->attribs & ~kAttributeExecute);
        const intptr_t closed = CabinetEngine::Notify(kNotifyCloseFileInfo, &n);
        if (closed == 0 || closed == -1) {
            Fail(erf, kErrorUserAbort);
            return false;
        }
    }
    return true;
}

}  // namespace qv::mscab::backend
