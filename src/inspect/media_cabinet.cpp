#include "inspect/media_cabinet.h"

#include "database/views.h"
#include "framework/check_base.h"
#include "inspect/content_inspector.h"
#include "inspect/temporary.h"

namespace {

// The merge module answer: unknown, no, yes.
int g_mergeModule = -1;

using qv::mscab::Narrow;

template <class... A>
void Debug(CQVIceBase* owner, const wchar_t* format, const A&... args)
{
    if (owner)
        owner->DebugLine(format, args...);
}

}  // namespace

bool IsMergeModule(MSIHANDLE database)
{
    if (g_mergeModule < 0)
        g_mergeModule = PropertyRowExists(database, L"ProductCode") ? 0 : 1;
    return g_mergeModule == 1;
}

void ResetMergeModuleAnswer() noexcept { g_mergeModule = -1; }

// ---- MediaCabinet ---------------------------------------------------------------

MediaCabinet::MediaCabinet(CQVIceBase* owner, MSIHANDLE mediaRecord)
    : m_owner(owner), m_rawName(RecordFieldString(mediaRecord, 4))
{
    m_name = m_rawName;
    m_lastSequence = MsiRecordGetInteger(mediaRecord, 2);
    if (!m_rawName.empty() && m_rawName[0] == L'#') {
        m_isEmbedded = true;
        m_name.erase(0, 1);
    }
}

MediaCabinet::MediaCabinet(CQVIceBase* owner, const _stringx<>& streamName)
    : m_owner(owner), m_rawName(streamName), m_name(streamName), m_isEmbedded(true), m_lastSequence(0x7FFFFFFF)
{
}

MediaCabinet::~MediaCabinet() { CloseCabinet(); }

bool MediaCabinet::Contains(const PackageFile& file) const noexcept
{
    return file.GetSequence() <= m_lastSequence;
}

void MediaCabinet::OpenCabinet()
{
    if (m_isOpen)
        return;
    m_engine = std::make_unique<CabinetEngine>();
    if (m_isEmbedded) {
        qv::msi_handle view;
        qv::msi_handle record;
        const UINT found = TryFetchFirst(view.ref(), m_owner->Database(), record.ref(),
                                         L"SELECT * FROM `%s` WHERE `%s` = '%s'", L"_Streams", L"Name", m_name);
        m_path = qv::MakeUniqueTempPath();
        if (found == ERROR_SUCCESS)
            qv::WriteStreamToFile(record, 2, m_path);
        else
            Debug(m_owner, L"Cab %s not found in _Streams table", m_name);
    } else {
        m_path = m_owner->GetSessionProperty(L"SourceDir");
        if (m_path.empty() || m_path.back() != L'\\')
            m_path += L'\\';
        m_path += m_name;
    }
    Debug(m_owner, L"Opening cab %s", m_path);
    const size_t slash = m_path.rfind(L'\\');
    const _stringx<> folder = slash == _stringx<>::npos ? _stringx<>() : m_path.substr(0, slash + 1);
    const _stringx<> name = slash == _stringx<>::npos ? m_path : m_path.substr(slash + 1);
    const DWORD result = m_engine->Create(Narrow(name).c_str(), Narrow(folder).c_str());
    if (result != 0)
        Debug(m_owner, L"Error opening cab %s. Error Code:  %s", m_path, qv::Format(L"%d", static_cast<int>(result)));
    m_isOpen = true;
}

void MediaCabinet::CloseCabinet()
{
    if (!m_isOpen)
        return;
    Debug(m_owner, L"Closing cab %s", m_path);
    m_engine.reset();
    if (m_isEmbedded && !m_path.empty()) {
        DeleteFileW(m_path.c_str());
        m_path.clear();
    }
    m_isOpen = false;
}

_stringx<> MediaCabinet::ExtractFile(const PackageFile& file)
{
    OpenCabinet();
    const DWORD attributes = GetFileAttributesW(m_path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return _stringx<>();

    // Not a unique name: two files of one long name overwrite each other.
    _stringx<> target = qv::GetTempFolder();
    target += file.GetLongFileName();
    const DWORD existing = GetFileAttributesW(target.c_str());
    if (existing != INVALID_FILE_ATTRIBUTES && (existing & FILE_ATTRIBUTE_READONLY))
        SetFileAttributesW(target.c_str(), existing & ~FILE_ATTRIBUTE_READONLY);

    try {
        const DWORD result = m_engine->Copy(Narrow(file.GetKey()).c_str(), Narrow(target).c_str(), 0);
        if (result != 0)
            Debug(m_owner, L"Unable to extract file %s in cab %s", file.GetKey(), m_name);
    } catch (qv::file_exception* e) {
        const _stringx<> text = e->Text();
        delete e;
        if (m_owner && m_owner->Debugging())
            m_owner->ReportText(qv::Format(L"Unable to decompress file %s in cab %s: %s", file.GetKey(), m_name, text),
                                3);
        return _stringx<>();
    }
    return target;
}

// ---- CabinetList ----------------------------------------------------------------

void CabinetList::SetOwner(CQVIceBase* owner) noexcept
{
    m_owner = owner;
    for (auto& cabinet : m_cabinets)
        cabinet->SetOwner(owner);
}

void CabinetList::LoadMedia()
{
    if (IsMergeModule(m_owner->Database())) {
        m_cabinets.push_back(std::make_unique<MediaCabinet>(m_owner, _stringx<>(L"MergeModule.CABinet")));
    } else if (TablePresent(m_owner->Database(), L"Media")) {
        // An absent table is no rows, as for every table of the package.
        ForEachRow(
            m_owner->Database(),
            [this](MSIHANDLE record) { m_cabinets.push_back(std::make_unique<MediaCabinet>(m_owner, record)); },
            L"SELECT * FROM `%s` WHERE `%s` <> '' ORDER BY `%s`", L"Media", L"Cabinet", L"DiskId");
    }
    m_cursor = 0;
    m_needsLoad = false;
}

MediaCabinet* CabinetList::AdvanceCabinet()
{
    m_cabinets[m_cursor]->CloseCabinet();
    ++m_cursor;
    return m_cursor < m_cabinets.size() ? m_cabinets[m_cursor].get() : nullptr;
}

MediaCabinet* CabinetList::FindCabinet(const PackageFile& file)
{
    if (m_needsLoad)
        LoadMedia();
    if (m_cursor >= m_cabinets.size())
        return nullptr;
    MediaCabinet* current = m_cabinets[m_cursor].get();
    if (current->Contains(file))
        return current;
    // One step only, and the next cabinet is not tested: see the notes on
    // Sequence order in the inspector.
    return AdvanceCabinet();
}

_stringx<> CabinetList::ExtractFile(const PackageFile& file)
{
    MediaCabinet* cabinet = FindCabinet(file);
    if (!cabinet) {
        Debug(m_owner, L"File %s is not in any cab", file.GetKey());
        return _stringx<>();
    }
    return cabinet->ExtractFile(file);
}
