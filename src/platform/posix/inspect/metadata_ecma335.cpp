// ClrMetadata over our own ECMA-335 reader: the file's bytes stand in for the
// runtime's metadata interfaces.

#include "inspect/metadata.h"

#include "platform/posix/inspect/ecma335.h"
#include "platform/posix/inspect/mapped_bytes.h"
#include "platform/posix/kernel/paths.h"

namespace qv {

namespace {

bool OpenMetadata(const _stringx<>& path, const posix::MappedFileBytes& file, posix::Ecma335Reader& reader)
{
    std::string reason;
    return file.status() == posix::MappedFileBytes::Status::Mapped && reader.Open(file.data(), file.size(), reason);
}

bool EqualNoCase(const std::wstring& a, const std::wstring& b)
{
    if (a.size() != b.size())
        return false;
    for (size_t i = 0; i < a.size(); ++i) {
        wchar_t x = a[i], y = b[i];
        if (x >= L'A' && x <= L'Z')
            x = static_cast<wchar_t>(x - L'A' + L'a');
        if (y >= L'A' && y <= L'Z')
            y = static_cast<wchar_t>(y - L'A' + L'a');
        if (x != y)
            return false;
    }
    return true;
}

}  // namespace

_stringx<> ClrMetadata::GetVersionFromFile() const
{
    const posix::MappedFileBytes file(posix::posix_path_from_windows(m_path.c_str()));
    posix::Ecma335Reader reader;
    if (!OpenMetadata(m_path, file, reader))
        return _stringx<>();
    return _stringx<>(posix::from_utf8(reader.Version()).c_str());
}

bool ClrMetadata::FindAssemblyAttribute(const _stringx<>& typeName, std::vector<uint8_t>& signature,
                                        std::vector<uint8_t>& value) const
{
    const posix::MappedFileBytes file(posix::posix_path_from_windows(m_path.c_str()));
    posix::Ecma335Reader reader;
    if (!OpenMetadata(m_path, file, reader))
        return false;
    const std::wstring wanted(typeName.c_str());
    for (auto& attribute : reader.AssemblyAttributes(kMaxAttributes)) {
        if (!EqualNoCase(posix::from_utf8(attribute.typeName), wanted) || attribute.ctorSignature.empty())
            continue;
        signature = std::move(attribute.ctorSignature);
        value = std::move(attribute.value);
        return true;
    }
    return false;
}

}  // namespace qv
