// Authenticode verification with OpenSSL. See platform/posix/inspect/authenticode.h.
//
// Every read of the image goes through ImageBytes, which tests offset and
// length against the file before touching it; the DER of the signature is
// handed to OpenSSL's decoders with its exact length.

#include "platform/posix/inspect/authenticode.h"
#include "foundation/le_bytes.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/pem.h>
#include <openssl/pkcs7.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <memory>
#include <optional>

namespace qv {
namespace {

template <typename T, void (*Free)(T*)>
struct Deleter {
    void operator()(T* p) const noexcept { Free(p); }
};
using Pkcs7Ptr = std::unique_ptr<PKCS7, Deleter<PKCS7, PKCS7_free>>;
using BioPtr = std::unique_ptr<BIO, Deleter<BIO, BIO_free_all>>;
using StorePtr = std::unique_ptr<X509_STORE, Deleter<X509_STORE, X509_STORE_free>>;
using StoreCtxPtr = std::unique_ptr<X509_STORE_CTX, Deleter<X509_STORE_CTX, X509_STORE_CTX_free>>;
using X509Ptr = std::unique_ptr<X509, Deleter<X509, X509_free>>;
using AlgorPtr = std::unique_ptr<X509_ALGOR, Deleter<X509_ALGOR, X509_ALGOR_free>>;
using MdCtxPtr = std::unique_ptr<EVP_MD_CTX, Deleter<EVP_MD_CTX, EVP_MD_CTX_free>>;
using MdPtr = std::unique_ptr<EVP_MD, Deleter<EVP_MD, EVP_MD_free>>;

constexpr const char* kSpcIndirectData = "1.3.6.1.4.1.311.2.1.4";
constexpr const char* kSpcPeImageData = "1.3.6.1.4.1.311.2.1.15";
constexpr uint16_t kCertificateRevision2 = 0x0200;
constexpr uint16_t kCertificateRevision1 = 0x0100;
constexpr uint16_t kPkcsSignedData = 0x0002;

// Every read of the file is bounds-checked.
using ImageBytes = qv::LeBytes;

// Where the parts that Authenticode leaves out of the hash lie.
struct PeLayout {
    uint64_t checksumOffset = 0;
    uint64_t certEntryOffset = 0;
    uint64_t sizeOfHeaders = 0;
    uint32_t certTableOffset = 0;
    uint32_t certTableSize = 0;
    struct Range {
        uint64_t offset, size;
    };
    std::vector<Range> sections;  // raw data of each section with a size, by file offset
};

std::optional<PeLayout> ReadLayout(const ImageBytes& image, std::string& reason)
{
    auto fail = [&](const char* why) -> std::optional<PeLayout> {
        reason = why;
        return std::nullopt;
    };
    const char* why = nullptr;
    const auto headers = qv::ReadPeHeaderLayout(image, why);
    if (!headers)
        return fail(why);
    const uint64_t optional = headers->optional;
    const uint64_t directories = headers->directories;
    const auto& directoryCount = headers->directoryCount;
    PeLayout layout;
    layout.checksumOffset = optional + 64;
    layout.certEntryOffset = directories + 4 * 8;
    const auto sizeOfHeaders = image.U32(optional + 60);
    if (!directoryCount || *directoryCount <= 4 || layout.certEntryOffset + 8 > headers->sectionTable ||
        !sizeOfHeaders)
        return fail("no certificate table entry");
    const auto certOffset = image.U32(layout.certEntryOffset);
    const auto certSize = image.U32(layout.certEntryOffset + 4);
    if (!certOffset || !certSize)
        return fail("truncated PE header");
    layout.certTableOffset = *certOffset;
    layout.certTableSize = *certSize;
    layout.sizeOfHeaders = *sizeOfHeaders;
    if (layout.sizeOfHeaders < layout.certEntryOffset + 8 || !image.Has(0, layout.sizeOfHeaders))
        return fail("headers outside the file");
    const uint64_t sectionTable = headers->sectionTable;
    for (uint32_t i = 0; i < headers->sectionCount; ++i) {
        const uint64_t header = sectionTable + 40ull * i;
        const auto rawSize = image.U32(header + 16);
        const auto rawPointer = image.U32(header + 20);
        if (!rawSize || !rawPointer)
            return fail("section table outside the file");
        if (*rawSize == 0)
            continue;
        if (!image.Has(*rawPointer, *rawSize))
            return fail("section data outside the file");
        layout.sections.push_back({*rawPointer, *rawSize});
    }
    std::stable_sort(layout.sections.begin(), layout.sections.end(),
                     [](const PeLayout::Range& a, const PeLayout::Range& b) { return a.offset < b.offset; });
    return layout;
}

// The hash of the image without the checksum, the certificate table entry and
// the certificate table.
bool HashImage(const ImageBytes& image, const PeLayout& layout, const EVP_MD* md, std::vector<uint8_t>& out)
{
    MdCtxPtr ctx(EVP_MD_CTX_new());
    if (!ctx || EVP_DigestInit_ex(ctx.get(), md, nullptr) != 1)
        return false;
    auto add = [&](uint64_t from, uint64_t to) {
        return to <= from || EVP_DigestUpdate(ctx.get(), image.data + from, to - from) == 1;
    };
    if (!add(0, layout.checksumOffset) || !add(layout.checksumOffset + 4, layout.certEntryOffset) ||
        !add(layout.certEntryOffset + 8, layout.sizeOfHeaders))
        return false;
    uint64_t end = layout.sizeOfHeaders;
    for (const auto& section : layout.sections) {
        if (!add(section.offset, section.offset + section.size))
            return false;
        end = std::max(end, section.offset + section.size);
    }
    // What follows the last section, except the certificate table.
    const uint64_t tableStart = layout.certTableOffset;
    const uint64_t tableEnd = tableStart + layout.certTableSize;
    if (layout.certTableSize == 0 || tableStart == 0) {
        if (!add(end, image.size))
            return false;
    } else {
        if (!add(end, std::min<uint64_t>(tableStart, image.size)) ||
            !add(std::max(end, tableEnd), image.size))
            return false;
    }
    unsigned int length = 0;
    out.resize(EVP_MAX_MD_SIZE);
    if (EVP_DigestFinal_ex(ctx.get(), out.data(), &length) != 1)
        return false;
    out.resize(length);
    return true;
}

// One DER element: tag, and where its content lies.
struct Der {
    uint8_t tag = 0;
    size_t header = 0;  // tag and length bytes
    size_t length = 0;  // content bytes
};

// The element at the start of [data, data + size); nullopt when it does not
// fit or uses a form this reader does not take (high tag numbers,
// indefinite lengths, lengths of more than four bytes).
std::optional<Der> ReadDer(const uint8_t* data, size_t size)
{
    if (size < 2 || (data[0] & 0x1F) == 0x1F)
        return std::nullopt;
    Der der;
    der.tag = data[0];
    const uint8_t first = data[1];
    if (first < 0x80) {
        der.header = 2;
        der.length = first;
    } else {
        const size_t count = first & 0x7F;
        if (count == 0 || count > 4 || size < 2 + count)
            return std::nullopt;
        size_t length = 0;
        for (size_t i = 0; i < count; ++i)
            length = (length << 8) | data[2 + i];
        der.header = 2 + count;
        der.length = length;
    }
    if (der.length > size - der.header)
        return std::nullopt;
    return der;
}

std::string ObjectText(const ASN1_OBJECT* object)
{
    char text[128];
    const int length = OBJ_obj2txt(text, sizeof text, object, 1);
    if (length <= 0 || static_cast<size_t>(length) >= sizeof text)
        return std::string();
    return std::string(text, static_cast<size_t>(length));
}

// SpcIndirectDataContent, as far as the check needs it.
struct IndirectData {
    const uint8_t* content = nullptr;  // content octets of the outer SEQUENCE,
    size_t contentSize = 0;            // which the messageDigest attribute covers
    std::string dataType;
    AlgorPtr digestAlgorithm;
    std::vector<uint8_t> digest;
};

bool ReadIndirectData(const uint8_t* der, size_t size, IndirectData& out, std::string& reason)
{
    reason = "malformed SpcIndirectDataContent";
    const auto outer = ReadDer(der, size);
    if (!outer || outer->tag != 0x30)
        return false;
    out.content = der + outer->header;
    out.contentSize = outer->length;
    const uint8_t* p = out.content;
    size_t left = out.contentSize;
    const auto data = ReadDer(p, left);  // SpcAttributeTypeAndOptionalValue
    if (!data || data->tag != 0x30)
        return false;
    {
        const uint8_t* q = p + data->header;
        const auto type = ReadDer(q, data->length);
        if (!type || type->tag != 0x06)
            return false;
        const unsigned char* cursor = q;
        ASN1_OBJECT* object = d2i_ASN1_OBJECT(nullptr, &cursor, static_cast<long>(type->header + type->length));
        if (!object)
            return false;
        out.dataType = ObjectText(object);
        ASN1_OBJECT_free(object);
    }
    p += data->header + data->length;
    left -= data->header + data->length;
    const auto digestInfo = ReadDer(p, left);
    if (!digestInfo || digestInfo->tag != 0x30)
        return false;
    const uint8_t* q = p + digestInfo->header;
    size_t qleft = digestInfo->length;
    const auto algorithm = ReadDer(q, qleft);
    if (!algorithm || algorithm->tag != 0x30)
        return false;
    const unsigned char* cursor = q;
    out.digestAlgorithm.reset(d2i_X509_ALGOR(nullptr, &cursor, static_cast<long>(algorithm->header + algorithm->length)));
    if (!out.digestAlgorithm)
        return false;
    q += algorithm->header + algorithm->length;
    qleft -= algorithm->header + algorithm->length;
    const auto digest = ReadDer(q, qleft);
    if (!digest || digest->tag != 0x04)
        return false;
    out.digest.assign(q + digest->header, q + digest->header + digest->length);
    reason.clear();
    return true;
}

// ---- trusted roots ----------------------------------------------------------

struct TrustState {
    std::vector<X509Ptr> added;
    std::vector<X509Ptr> shipped;
    StorePtr store;  // rebuilt when the roots change
};

TrustState& Trust()
{
    static TrustState state;
    return state;
}

X509_STORE* TrustStore()
{
    TrustState& state = Trust();
    if (state.store)
        return state.store.get();
    StorePtr store(X509_STORE_new());
    if (!store)
        return nullptr;
    X509_STORE_set_default_paths(store.get());
    ERR_clear_error();  // a system without a bundle still has the other roots
    for (const auto* list : {&state.shipped, &state.added})
        for (const X509Ptr& cert : *list)
            X509_STORE_add_cert(store.get(), cert.get());
    ERR_clear_error();  // a root given twice is no failure
    state.store = std::move(store);
    return state.store.get();
}

bool ReadPemCertificates(const std::string& file, std::vector<X509Ptr>& out, std::string& reason)
{
    BioPtr bio(BIO_new_file(file.c_str(), "r"));
    if (!bio) {
        ERR_clear_error();
        reason = "cannot read " + file;
        return false;
    }
    std::vector<X509Ptr> found;
    while (X509* cert = PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr))
        found.emplace_back(cert);
    ERR_clear_error();  // the end of the file reads as an error
    if (found.empty()) {
        reason = "no PEM certificate in " + file;
        return false;
    }
    for (auto& cert : found)
        out.push_back(std::move(cert));
    return true;
}

HRESULT ChainStatus(int error)
{
    switch (error) {
    case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
    case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
    case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
    case X509_V_ERR_CERT_UNTRUSTED:
        return CERT_E_UNTRUSTEDROOT;
    case X509_V_ERR_CERT_HAS_EXPIRED:
    case X509_V_ERR_CERT_NOT_YET_VALID:
        return CERT_E_EXPIRED;
    case X509_V_ERR_INVALID_PURPOSE:
        return CERT_E_WRONG_USAGE;
    default:
        return CERT_E_CHAINING;
    }
}

}  // namespace

bool AddTrustedRoots(const std::string& pemFile, std::string& reason)
{
    if (!ReadPemCertificates(pemFile, Trust().added, reason))
        return false;
    Trust().store.reset();
    return true;
}

void ResetTrustedRoots()
{
    Trust().added.clear();
    Trust().store.reset();
}

size_t SetShippedRootsFolder(const std::string& folder)
{
    TrustState& state = Trust();
    state.shipped.clear();
    state.store.reset();
    std::error_code error;
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        const std::string extension = entry.path().extension().string();
        if (entry.is_regular_file(error) && (extension == ".pem" || extension == ".crt"))
            files.push_back(entry.path().string());
    }
    std::sort(files.begin(), files.end());
    std::string ignored;
    for (const std::string& file : files)
        ReadPemCertificates(file, state.shipped, ignored);
    return state.shipped.size();
}

namespace posix {

std::vector<uint8_t> AuthenticodeImageHash(const uint8_t* data, size_t size, const std::string& digestName)
{
    std::vector<uint8_t> out;
    const ImageBytes image{data, size};
    std::string reason;
    const auto layout = ReadLayout(image, reason);
    MdPtr md(EVP_MD_fetch(nullptr, digestName.c_str(), nullptr));
    if (!layout || !md || !HashImage(image, *layout, md.get(), out))
        out.clear();
    ERR_clear_error();
    return out;
}

AuthenticodeResult VerifyAuthenticode(const uint8_t* data, size_t size, bool hashIsFatal)
{
    AuthenticodeResult result;
    auto fail = [&](HRESULT status, std::string reason) {
        ERR_clear_error();
        result.status = status;
        result.reason = std::move(reason);
        return result;
    };
    const ImageBytes image{data, size};
    std::string reason;
    const auto layout = ReadLayout(image, reason);
    if (!layout)
        return fail(TRUST_E_NOSIGNATURE, reason);
    if (layout->certTableOffset == 0 || layout->certTableSize == 0)
        return fail(TRUST_E_NOSIGNATURE, "no certificate table");
    if (layout->certTableOffset < layout->sizeOfHeaders || !image.Has(layout->certTableOffset, layout->certTableSize))
        return fail(TRUST_E_NOSIGNATURE, "certificate table outside the file");

    // The first WIN_CERTIFICATE of the table.
    const uint64_t entry = layout->certTableOffset;
    if (layout->certTableSize < 8)
        return fail(TRUST_E_NOSIGNATURE, "malformed certificate entry");
    const uint32_t length = *image.U32(entry);
    if (length < 8 || length > layout->certTableSize)
        return fail(TRUST_E_NOSIGNATURE, "malformed certificate entry");
    const uint16_t revision = *image.U16(entry + 4);
    const uint16_t type = *image.U16(entry + 6);
    if ((revision != kCertificateRevision2 && revision != kCertificateRevision1) || type != kPkcsSignedData)
        return fail(TRUST_E_NOSIGNATURE, "certificate entry is no PKCS#7 SignedData");

    const unsigned char* cursor = data + entry + 8;
    Pkcs7Ptr p7(d2i_PKCS7(nullptr, &cursor, static_cast<long>(length - 8)));
    if (!p7 || !PKCS7_type_is_signed(p7.get()) || !p7->d.sign || !p7->d.sign->contents)
        return fail(TRUST_E_NOSIGNATURE, "no PKCS#7 SignedData");
    PKCS7* contents = p7->d.sign->contents;
    if (ObjectText(contents->type) != kSpcIndirectData)
        return fail(TRUST_E_NOSIGNATURE, "content is no SpcIndirectDataContent");
    const ASN1_TYPE* other = contents->d.other;
    if (!other || other->type != V_ASN1_SEQUENCE || !other->value.sequence)
        return fail(TRUST_E_NOSIGNATURE, "content is no SpcIndirectDataContent");
    const ASN1_STRING* sequence = other->value.sequence;
    IndirectData indirect;
    if (!ReadIndirectData(ASN1_STRING_get0_data(sequence), static_cast<size_t>(ASN1_STRING_length(sequence)), indirect,
                          reason))
        return fail(TRUST_E_NOSIGNATURE, reason);
    if (indirect.dataType != kSpcPeImageData)
        return fail(TRUST_E_NOSIGNATURE, "signature is not over a PE image");
    result.imageDigest = indirect.digest;

    // The image hash, recomputed.
    const ASN1_OBJECT* algorithm = nullptr;
    X509_ALGOR_get0(&algorithm, nullptr, nullptr, indirect.digestAlgorithm.get());
    const EVP_MD* md = algorithm ? EVP_get_digestbyobj(algorithm) : nullptr;
    if (!md)
        return fail(TRUST_E_NOSIGNATURE, "unknown digest algorithm");
    std::vector<uint8_t> actual;
    if (!HashImage(image, *layout, md, actual))
        return fail(TRUST_E_NOSIGNATURE, "cannot hash the image");
    if (hashIsFatal && actual != indirect.digest)
        return fail(TRUST_E_BAD_DIGEST, "image hash does not match the signature");

    // The signer's signature over its attributes, and their message digest
    // over the content octets of SpcIndirectDataContent. The chain is
    // checked below, with the usage Authenticode needs.
    // Authenticode names exactly one digest algorithm. The content goes in
    // under a buffering filter: OpenSSL copies a bare memory source into a
    // stream of its own, which it then does not free.
    if (sk_X509_ALGOR_num(p7->d.sign->md_algs) != 1)
        return fail(TRUST_E_NOSIGNATURE, "not exactly one digest algorithm");
    BioPtr content(BIO_new(BIO_f_buffer()));
    BIO* source = BIO_new_mem_buf(indirect.content, static_cast<int>(indirect.contentSize));
    if (!content || !source) {
        BIO_free(source);
        return fail(E_FAIL, "out of memory");
    }
    BIO_push(content.get(), source);
    ERR_clear_error();
    if (PKCS7_verify(p7.get(), nullptr, nullptr, content.get(), nullptr, PKCS7_NOVERIFY | PKCS7_BINARY) != 1) {
        const int why = ERR_GET_REASON(ERR_peek_last_error());
        if (why == PKCS7_R_DIGEST_FAILURE)
            return fail(TRUST_E_BAD_DIGEST, "message digest does not match the content");
        if (why == PKCS7_R_SIGNATURE_FAILURE)
            return fail(TRUST_E_CERT_SIGNATURE, "signer's signature does not verify");
        return fail(TRUST_E_NOSIGNATURE, "no usable signer");
    }
    STACK_OF(X509)* signers = PKCS7_get0_signers(p7.get(), nullptr, 0);
    if (!signers || sk_X509_num(signers) < 1) {
        sk_X509_free(signers);
        return fail(TRUST_E_NOSIGNATURE, "no signer certificate");
    }
    X509* signer = sk_X509_value(signers, 0);
    sk_X509_free(signers);

    // A signer certificate that names its usages must allow code signing.
    if (X509_get_extension_flags(signer) & EXFLAG_XKUSAGE) {
        const uint32_t usages = X509_get_extended_key_usage(signer);
        if (!(usages & (XKU_CODE_SIGN | XKU_ANYEKU)))
            return fail(CERT_E_WRONG_USAGE, "signer certificate is not for code signing");
    }
    X509_STORE* store = TrustStore();
    StoreCtxPtr ctx(X509_STORE_CTX_new());
    if (!store || !ctx || X509_STORE_CTX_init(ctx.get(), store, signer, p7->d.sign->cert) != 1)
        return fail(E_FAIL, "cannot build the chain");
    X509_STORE_CTX_set_purpose(ctx.get(), X509_PURPOSE_ANY);
    if (X509_verify_cert(ctx.get()) != 1) {
        const int error = X509_STORE_CTX_get_error(ctx.get());
        return fail(ChainStatus(error), X509_verify_cert_error_string(error));
    }
    ERR_clear_error();
    result.status = S_OK;
    result.reason.clear();
    return result;
}

}  // namespace posix
}  // namespace qv
