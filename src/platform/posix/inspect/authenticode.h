// Authenticode verification of a PE image's embedded signature with OpenSSL:
// the PKCS#7 SignedData of the certificate table, the image hash recomputed
// over the file, the signer's signature over its authenticated attributes and
// the message digest they carry, and the signer's chain to a trusted root.
//
// Trusted roots are the system CA bundle, the roots of the folder set with
// SetShippedRootsFolder, and any added at run time with AddTrustedRoots.
//
// The implementation lives in platform/posix/api/authenticode.cpp, beside
// MsiGetFileSignatureInformationW, its one caller in the library: both must
// sit in the same static library, which links before OpenSSL.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/platform.h"

namespace qv {

// Adds every certificate of a PEM file as a trusted root. False, with the
// reason, when the file cannot be read or holds no certificate; nothing is
// added then.
bool AddTrustedRoots(const std::string& pemFile, std::string& reason);
// Forgets the roots added with AddTrustedRoots.
void ResetTrustedRoots();
// Every *.pem and *.crt file of the folder is taken as trusted roots too
// (a folder that does not exist adds nothing). Returns how many certificates
// were taken.
size_t SetShippedRootsFolder(const std::string& folder);

namespace posix {

struct AuthenticodeResult {
    HRESULT status = TRUST_E_NOSIGNATURE;  // S_OK when signed and trusted
    std::string reason;                     // why not, in a few words
    std::vector<uint8_t> imageDigest;       // the digest the signature carries
};

// Verifies the bytes of a whole file. With hashIsFatal false a recomputed
// image hash that differs from the signed one does not fail the check.
// Never throws on bad input.
AuthenticodeResult VerifyAuthenticode(const uint8_t* data, size_t size, bool hashIsFatal);

// The Authenticode image hash of a PE file with the given digest ("SHA256",
// "SHA1"), excluding the checksum, the certificate table entry and the table
// itself. Empty when the headers or sections do not lie inside the file.
std::vector<uint8_t> AuthenticodeImageHash(const uint8_t* data, size_t size, const std::string& digestName);

}  // namespace posix
}  // namespace qv
