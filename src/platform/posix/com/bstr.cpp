// BSTR memory: a 32-bit byte length just before the text, the text, and a
// terminator. A tag before the length lets SysFreeString refuse pointers
// that no BSTR allocator returned.

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>

#include "platform/posix/winapi/com.h"

namespace {

constexpr uint32_t kTag = 0x42535452;  // "BSTR"

struct Header {
    uint32_t tag;
    uint32_t bytes;  // length of the text in bytes, without the terminator
};
static_assert(sizeof(Header) == 8 && alignof(Header) <= alignof(wchar_t) * 2);

std::atomic<size_t> g_live{0};

Header* header_of(BSTR text) { return reinterpret_cast<Header*>(reinterpret_cast<char*>(text) - sizeof(Header)); }

// Room for `bytes` of text plus a terminator; the text is zeroed.
BSTR allocate(size_t bytes) {
    if (bytes > 0x7FFFFFF0u - sizeof(Header)) return nullptr;
    size_t total = sizeof(Header) + bytes + sizeof(wchar_t) * 2;
    auto* header = static_cast<Header*>(std::calloc(1, total));
    if (!header) return nullptr;
    header->tag = kTag;
    header->bytes = static_cast<uint32_t>(bytes);
    ++g_live;
    return reinterpret_cast<BSTR>(header + 1);
}

void release(BSTR text) {
    Header* header = header_of(text);
    if (header->tag != kTag) {
        std::fprintf(stderr, "SysFreeString: %p is not a BSTR\n", static_cast<void*>(text));
        std::abort();
    }
    header->tag = 0;
    --g_live;
    std::free(header);
}

}  // namespace

BSTR SysAllocString(const OLECHAR* psz) {
    if (!psz) return nullptr;
    return SysAllocStringLen(psz, static_cast<UINT>(std::wcslen(psz)));
}

BSTR SysAllocStringLen(const OLECHAR* strIn, UINT ui) {
    BSTR text = allocate(static_cast<size_t>(ui) * sizeof(OLECHAR));
    if (text && strIn) std::wmemcpy(text, strIn, ui);
    return text;
}

BSTR SysAllocStringByteLen(LPCSTR psz, UINT len) {
    BSTR text = allocate(len);
    if (text && psz) std::memcpy(text, psz, len);
    return text;
}

INT SysReAllocStringLen(BSTR* pbstr, const OLECHAR* psz, UINT len) {
    if (!pbstr) return FALSE;
    // The new text may come from the old string itself: copy before freeing.
    BSTR text = SysAllocStringLen(psz, len);
    if (!text) return FALSE;
    if (*pbstr) release(*pbstr);
    *pbstr = text;
    return TRUE;
}

INT SysReAllocString(BSTR* pbstr, const OLECHAR* psz) {
    return SysReAllocStringLen(pbstr, psz, psz ? static_cast<UINT>(std::wcslen(psz)) : 0);
}

void SysFreeString(BSTR bstrString) {
    if (bstrString) release(bstrString);
}

UINT SysStringLen(BSTR pbstr) { return pbstr ? header_of(pbstr)->bytes / sizeof(OLECHAR) : 0; }

UINT SysStringByteLen(BSTR bstr) { return bstr ? header_of(bstr)->bytes : 0; }

size_t QvLiveBstrCount() { return g_live.load(); }
