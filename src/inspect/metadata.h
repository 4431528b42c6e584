// What the runtime's metadata interfaces tell about a managed file, behind
// one small class with one back end per system: on Windows the interfaces
// of mscoree.dll, bound at run time (platform/win32/inspect/metadata_mscoree.cpp);
// elsewhere our own ECMA-335 reader (platform/posix/inspect/metadata_ecma335.cpp).
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/stringx.h"

namespace qv {

class ClrMetadata {
public:
    explicit ClrMetadata(const _stringx<>& path) : m_path(path) {}

    // The runtime version the file was built for, as the runtime reports it
    // ("v4.0.30319"); empty when nothing can tell.
    _stringx<> GetVersionFromFile() const;

    // The first custom attribute of the assembly (token 0x20000001), among
    // the first 2048, whose constructor is a member reference of a type
    // reference named typeName without regard to case, and which has a
    // constructor signature: that signature and the attribute's value blob.
    // False when there is none or the metadata cannot be read.
    bool FindAssemblyAttribute(const _stringx<>& typeName, std::vector<uint8_t>& signature,
                               std::vector<uint8_t>& value) const;

    static constexpr unsigned kMaxAttributes = 2048;

private:
    _stringx<> m_path;
};

}  // namespace qv

namespace qv {

// The first string argument of a custom attribute, as the .NET operations
// read it: the constructor signature must return void and take a string
// first; the value blob's two-byte prolog is skipped untested, its packed
// length must be readable, and the text runs from after it to the first
// zero byte (or the blob's end), so a named-argument count of 1 that follows
// stays in the text as U+0001. Empty when any step fails. The narrow text is
// widened in the system code page, and at most 259 characters are kept.
_stringx<> AttributeStringArgument(const std::vector<uint8_t>& signature, const std::vector<uint8_t>& value);

}  // namespace qv
