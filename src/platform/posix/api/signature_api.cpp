// MsiGetFileSignatureInformationW on POSIX: the file's embedded Authenticode
// signature checked with OpenSSL (authenticode.cpp).

#include "platform/platform.h"
#include "platform/posix/inspect/authenticode.h"
#include "platform/posix/inspect/mapped_bytes.h"
#include "platform/posix/kernel/paths.h"

HRESULT MsiGetFileSignatureInformationW(LPCWSTR szSignedObjectPath, DWORD dwFlags, PCCERT_CONTEXT* ppcCertContext,
                                        BYTE* pbHashData, LPDWORD pcbHashData)
{
    // No certificate context exists on this side: the caller gets none, and
    // so has nothing to free.
    if (ppcCertContext)
        *ppcCertContext = nullptr;
    if (!szSignedObjectPath || !*szSignedObjectPath || !ppcCertContext || (pbHashData && !pcbHashData) ||
        (dwFlags & ~MSI_INVALID_HASH_IS_FATAL))
        return E_INVALIDARG;
    const qv::posix::MappedFileBytes file(qv::posix::posix_path_from_windows(szSignedObjectPath));
    switch (file.status()) {
    case qv::posix::MappedFileBytes::Status::Mapped:
        break;
    case qv::posix::MappedFileBytes::Status::Denied:
    case qv::posix::MappedFileBytes::Status::NotFound:
        return HRESULT_FROM_WIN32(ERROR_FILE_NOT_FOUND);
    case qv::posix::MappedFileBytes::Status::Folder:
        return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    default:
        return TRUST_E_NOSIGNATURE;
    }
    const qv::posix::AuthenticodeResult result =
        qv::posix::VerifyAuthenticode(file.data(), file.size(), (dwFlags & MSI_INVALID_HASH_IS_FATAL) != 0);
    if (result.status < 0 || !pcbHashData)
        return result.status;
    // The signed image hash, when asked for; its size alone with no buffer.
    const DWORD needed = static_cast<DWORD>(result.imageDigest.size());
    if (!pbHashData || *pcbHashData < needed) {
        const bool sizeOnly = !pbHashData;
        *pcbHashData = needed;
        return sizeOnly ? result.status : HRESULT_FROM_WIN32(ERROR_MORE_DATA);
    }
    std::copy(result.imageDigest.begin(), result.imageDigest.end(), pbHashData);
    *pcbHashData = needed;
    return result.status;
}
