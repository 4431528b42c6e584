// Component authoring checks.
#pragma once

#include <map>

#include "framework/check_base.h"
#include "framework/exports.h"

// QVICE07: every component has a ComponentId; COM data stands alone in a
// one-file component; components referenced by feature-bound tables belong
// to one feature; at most one file of a component is the target of a
// Desktop or Start Menu shortcut; Global Assembly Cache assemblies are marked
// for a waiver.
class CQVIce07 : public CQVIceBase {
public:
    static constexpr const wchar_t* Name = L"QVICE07";
    static constexpr UINT DescriptionId = 112;

    explicit CQVIce07(MSIHANDLE hInstall);
    ~CQVIce07() override;

    _stringx<> GetName() const override;
    _stringx<> GetDescription() const override;
    void Validate() override;

    // Loads the shortcuts, then records the lower-cased targets of those in
    // the desktop or below a Start Menu folder.
    void LoadShortcuts() override;

private:
    void ComponentIdTest(const Component& component);
    void ComDataTest(const Component& component);
    void MultipleFeaturesTest(const Component& component);
    void ShortcutTargetTest(const Component& component);
    void GlobalAssemblyCacheTest(const Component& component);
    bool HoldsComData(const Component& component);
    // True when the table is present and holds a row for the component.
    bool ComponentReferencedIn(const wchar_t* table, const _stringx<>& component);

    // Lower-cased target text to the key of the last shortcut with it.
    std::map<_stringx<>, _stringx<>> m_shortcutTargets;
};
