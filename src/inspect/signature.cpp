// PackageFile::IsSigned: whether a delivered file carries a valid digital
// signature, as the installer's signature function judges it.

#include "framework/check_base.h"
#include "inspect/content_inspector.h"

// False for a path that is missing or a folder; otherwise the installer's
// verdict with an invalid hash counted as fatal. The certificate context the
// call hands back is not looked at, and not freed: the call is made at most
// once per file and check.
bool FileHasSignature(const _stringx<>& path)
{
    const DWORD attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return false;
    PCCERT_CONTEXT certificate = nullptr;
    DWORD hashSize = 0;
    const HRESULT result =
        MsiGetFileSignatureInformationW(path.c_str(), MSI_INVALID_HASH_IS_FATAL, &certificate, nullptr, &hashSize);
    return result >= 0;
}

bool PackageFile::IsSigned() const
{
    TemporaryPath temporary;
    const _stringx<> path = ResolveFilePath(temporary);
    if (path.empty())
        return false;
    CQVIceBase* owner = Inspector()->Owner();
    if (owner)
        owner->DebugLine(L"Checking digital cert for file %s", GetKey());
    const bool signedFile = FileHasSignature(path);
    if (owner)
        owner->DebugLine(_stringx<>(L"Done checking digital cert"));
    return signedFile;
}
