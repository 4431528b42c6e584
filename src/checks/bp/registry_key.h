// Registry key checks.
#pragma once

#include <vector>

#include "framework/check_base.h"
#include "framework/exports.h"

// One row of _QvRegistry. A name "*" marks a key whose removal is a root
// removal, an empty name the key and all below it, any other name that one
// value. The root is kept but the match does not use it.
struct RegistryKeyEntry {
    int root = 0;
    _stringx<qv::char_traitsi> key;
    _stringx<qv::char_traitsi> name;
};

bool RegistryKeyEntryLess(const RegistryKeyEntry& a, const RegistryKeyEntry& b);

class CQVBP20 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVBP20";
    static constexpr UINT DescriptionId = 201;

    explicit CQVBP20(MSIHANDLE hInstall);
    ~CQVBP20() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Text of a Registry Root value; empty for values outside -1 to 3.
    static const wchar_t* RootText(int root);

private:
    // At most one finding (202 or 203) for the row.
    void MatchRegistryRow(int root, const _stringx<qv::char_traitsi>& key, const _stringx<qv::char_traitsi>& name,
                          const _stringx<>& rowKey);
    void Report(UINT id, int root, const _stringx<qv::char_traitsi>& key, const _stringx<>& rowKey, int type);

    std::vector<RegistryKeyEntry> m_entries;
};
