// CQVIceBase: the abstract base of every check. It holds the session and
// database handles, runs the check (Execute) and delivers its findings: one
// tab-separated line per finding, in field 0 of a record, through
// MsiProcessMessage with type INSTALLMESSAGE_USER.
//
//   name TAB type TAB text [TAB help [TAB table TAB column TAB key...]]
//
// Message types: 0 failure, 1 error, 2 warning, 3 information.
#pragma once

#include <vector>

#include "database/inventory.h"
#include "database/views.h"
#include "foundation/format.h"
#include "foundation/stringx.h"
#include "platform/platform.h"

// Loads catalogue entry id into target, growing the buffer while the text may
// have been cut. True when the entry has text.
bool LoadCatalogueString(_stringx<>& target, HMODULE module, UINT id);

// Puts the arguments into a catalogue text: %1-%9 are arguments 0-8, %A-%Z
// are 9-34. A % before anything else is copied as it stands (so %% is no
// escape). A placeholder beyond count gives "?", a null argument nothing.
void FillPlaceholders(_stringx<>& text, const _stringx<>* const* args, UINT count);

class CQVIceBase {
public:
    explicit CQVIceBase(MSIHANDLE hInstall);
    virtual ~CQVIceBase();

    CQVIceBase(const CQVIceBase&) = delete;
    CQVIceBase& operator=(const CQVIceBase&) = delete;

    virtual _stringx<> GetName() const = 0;
    virtual _stringx<> GetDescription() const = 0;
    virtual void Validate() = 0;

    // The one entry an export calls: banner, Validate, closing debug line,
    // inside COM; a failure becomes message 124 (com_exception) or 121
    // (anything else). Returns 0 on every path.
    UINT Execute();

    // ---- findings ---------------------------------------------------------
    void ReportText(const _stringx<>& text, int type);
    void ReportMessage(UINT id, int type);
    void ReportMessage(UINT id, const _stringx<>& arg1, int type);
    void ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, int type);
    void ReportMessage(UINT id, const _stringx<>& arg1, const _stringx<>& arg2, const _stringx<>& arg3, int type);
    _stringx<> LoadMessage(UINT id) const;

    // Debug lines: findings of type 3, sent only when the Property table has
    // the row _QV_DEBUGGING_ACTION. With arguments the text is a printf-style
    // format (%s a wide text).
    void DebugLine(const _stringx<>& text);
    template <class A1>
    void DebugLine(const wchar_t* format, const A1& arg1)
    {
        if (m_debugging)
            ReportText(qv::Format(format, arg1), 3);
    }
    template <class A1, class A2>
    void DebugLine(const wchar_t* format, const A1& arg1, const A2& arg2)
    {
        if (m_debugging)
            ReportText(qv::Format(format, arg1, arg2), 3);
    }

    template <class... A>
    static void FormatString(_stringx<>& out, const wchar_t* format, const A&... args)
    {
        qv::FormatString(out, format, args...);
    }

    // ---- session services -------------------------------------------------

    // Each runs its installer action at most once per session; the mark is
    // a session property, so it holds across checks and library loads.
    void RunCostInitialize();
    void RunFileCost();
    void RunCostFinalize();
    void RunResolveSource();

    // The installer's formatting of text after costing, with the first three
    // and the last character of the formatted record removed; empty when the
    // formatting fails.
    _stringx<> FormatTargetPath(const _stringx<>& text);

    // The session value of a property; when empty, after ResolveSource.
    _stringx<> GetSessionProperty(const _stringx<>& name);

    // Value column of the Property table row, empty when absent or on error.
    _stringx<> GetPropertyTableValue(const _stringx<>& name);

    // ---- inventories (lazy; the guards are process-wide) -------------------
    virtual void LoadComponents();
    virtual void LoadShortcuts();
    virtual void LoadFeatures();
    // Attaches the package's files to m_components (loading them first).
    virtual void LoadFiles();
    // Every File row in Sequence order, from one process-wide inspector.
    virtual PackageFileList& GetPackageFiles();

    // Table, column and keys of the next finding, for helpers that report
    // on the check's behalf.
    std::vector<_stringx<>>& Location() noexcept { return m_location; }

    MSIHANDLE Database() const noexcept { return m_database; }
    MSIHANDLE Install() const noexcept { return m_install; }
    bool Debugging() const noexcept { return m_debugging; }

    // Session property names that mark the cost actions as run.
    static const wchar_t* const kCostInitializeMark;
    static const wchar_t* const kFileCostMark;
    static const wchar_t* const kCostFinalizeMark;
    static const wchar_t* const kResolveSourceMark;

protected:
    void ReportWithArguments(UINT id, const _stringx<>* const* args, UINT count, int type);
    void RunCostAction(const wchar_t* mark, const wchar_t* action, bool costInitializeFirst);

    MSIHANDLE m_database;
    MSIHANDLE m_install;
    _stringx<> m_helpLocation;
    // Table, column and key values of the next finding; emptied by each finding.
    std::vector<_stringx<>> m_location;
    bool m_debugging;

    ComponentMap m_components;
    ShortcutMap m_shortcuts;
    FeatureMap m_features;
};
