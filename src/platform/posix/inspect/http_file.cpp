// The network branch of qv::file on POSIX: there is no WinINet, and the
// checks never reach a remote cabinet (the path test before the copy fails
// for a URL first), so opening a URL fails with ERROR_NOT_SUPPORTED and the
// file stays closed.
#include "inspect/file.h"

namespace qv {

struct http_file::State {};

http_file::http_file() = default;
http_file::~http_file() { delete m_state; }

DWORD http_file::Open(const _stringx<>& url, uint32_t notifyWindow)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return ERROR_NOT_SUPPORTED;
}

long http_file::Read(void* buffer, DWORD count)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return -1;
}

long http_file::Seek(long offset, int origin)
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return -1;
}

long http_file::GetSize()
{
    SetLastError(ERROR_NOT_SUPPORTED);
    return -1;
}

void http_file::Close() {}

}  // namespace qv
