// Protected resource checks: files and registry keys that Windows protects,
// from the filter document _QVFilters.xml of the Binary table.
#pragma once

#include <map>
#include <memory>
#include <set>

#include "framework/check_base.h"
#include "framework/exports.h"

class PackageFile;

namespace qv {
class XmlDocument;
}

class CQVIce06 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE06";
    static constexpr UINT DescriptionId = 111;

    explicit CQVIce06(MSIHANDLE hInstall);
    ~CQVIce06() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Components of this check alone (not the shared inventory), and the
    // five system folder prefixes; no once-only guard.
    void LoadComponents() override;

private:
    using NoCase = _stringx<qv::char_traitsi>;

    void LoadFilterDocument();
    void WalkDocument(qv::XmlDocument& document);
    // 0 not protected, 1 a protected file at its protected path (125),
    // 2 a protected name in another system folder (163).
    int ClassifyFile(const PackageFile& file);

    std::multimap<NoCase, _stringx<>> m_excludedFiles;     // name to path
    std::multimap<NoCase, _stringx<>> m_excludedFileKeys;  // name to exempt File key
    std::map<_stringx<>, std::unique_ptr<Component>> m_ownComponents;
    std::set<NoCase> m_systemRoots;
};

class CQVIce12 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE12";
    static constexpr UINT DescriptionId = 129;

    explicit CQVIce12(MSIHANDLE hInstall);
    ~CQVIce12() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

private:
    using NoCase = _stringx<qv::char_traitsi>;

    void LoadFilterDocument();
    void WalkDocument(qv::XmlDocument& document);
    // True for a listed key and for every key below one.
    bool ProtectedKeyMatch(const _stringx<>& fullKey) const;

    std::set<NoCase> m_protectedKeys;
};
