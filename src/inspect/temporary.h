// The temporary folder, unique temporary names, stream copies and
// TemporaryPath, the owner of one extracted file.
#pragma once

#include "foundation/stringx.h"
#include "platform/platform.h"

namespace qv {

// The temporary folder with a closing backslash; throws
// qv::win32_exception (by value) when the system call fails.
_stringx<> GetTempFolder();

// A name in the temporary folder that nothing occupies: the empty file the
// system makes for the name is deleted again. Throws as GetTempFolder.
_stringx<> MakeUniqueTempPath();

// Copies the stream in field of record to path, in pieces of 260 bytes,
// making the folders of the path first. A failed open or write throws
// com_exception with the HRESULT of the last error.
void WriteStreamToFile(MSIHANDLE record, UINT field, const _stringx<>& path);

}  // namespace qv

// Owns one extracted file: empty unless a file was extracted for it; the
// file is deleted, read-only or not, when the object goes.
class TemporaryPath {
public:
    TemporaryPath() = default;
    explicit TemporaryPath(const _stringx<>& path) : m_path(path) {}
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;
    ~TemporaryPath();

    TemporaryPath& operator=(const _stringx<>& path)
    {
        m_path = path;
        return *this;
    }
    const _stringx<>& Path() const noexcept { return m_path; }

private:
    _stringx<> m_path;
};
