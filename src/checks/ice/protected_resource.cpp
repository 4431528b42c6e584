// Protected resource checks. Both read the filter document: its
// Exclude/File and Include/File elements (QVICE06) or its Exclude/Registry
// elements (QVICE12), anywhere in the document.
#include "checks/ice/protected_resource.h"

#include <functional>

#include "database/com_exception.h"
#include "database/directory.h"
#include "database/registry_inventory.h"
#include "inspect/content_inspector.h"
#include "inspect/temporary.h"
#include "inspect/xml_document.h"

namespace {

using NoCase = _stringx<qv::char_traitsi>;

NoCase NoCaseOf(const _stringx<>& text) { return NoCase(text.c_str(), text.size()); }

void Check(HRESULT hr)
{
    if (FAILED(hr))
        throw com_exception(hr);
}

// The filter document out of its Binary row into a temporary file (left
// behind), loaded, then handed to walk. A missing table or row, or a
// document that will not load, ends the check.
void LoadFilterDocument(CQVIceBase& check, const std::function<void(qv::XmlDocument&)>& walk)
{
    check.DebugLine(L"Finding QvIce06.xml");
    qv::msi_handle view;
    qv::msi_handle record;
    const UINT fetched = FetchFirst(view.ref(), check.Database(), record.ref(), L"SELECT * FROM `%s` WHERE `%s`='%s'",
                                    L"Binary", L"Name", L"_QVFilters.xml");
    if (fetched != ERROR_SUCCESS)
        throw com_exception(E_FAIL);

    check.DebugLine(L"Extracting QvIce06.xml");
    wchar_t folder[MAX_PATH] = {};
    wchar_t path[MAX_PATH] = {};
    GetTempPathW(MAX_PATH, folder);
    GetTempFileNameW(folder, L"qvx", 0, path);
    qv::WriteStreamToFile(record, 2, path);

    check.DebugLine(L"Instantiating MSXML");
    qv::XmlDocument document;
    int version = 0;
    Check(document.Create(version));

    check.DebugLine(L"Loading QvIce06.xml");
    bool loaded = false;
    Check(document.Load(path, loaded));
    if (!loaded)
        throw com_exception(E_FAIL);

    check.DebugLine(L"Loaded QvIce06.xml");
    walk(document);
}

std::vector<qv::XmlNode> Select(qv::XmlDocument& document, const wchar_t* query)
{
    std::vector<qv::XmlNode> nodes;
    Check(document.SelectNodes(query, nodes));
    return nodes;
}

}  // namespace

// ---- QVICE06 ------------------------------------------------------------------

CQVIce06::CQVIce06(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce06::~CQVIce06() = default;
_stringx<> CQVIce06::GetName() const { return Name; }
_stringx<> CQVIce06::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce06::LoadComponents()
{
    if (TablePresent(m_database, L"Component")) {
        ForEachRow(
            m_database,
            [this](MSIHANDLE record) {
                auto component = std::make_unique<Component>(this, record);
                const _stringx<> key = component->key;
                m_ownComponents[key] = std::move(component);
            },
            L"SELECT * FROM `%s`", L"Component");
    }
    for (const wchar_t* root :
         {L"[CommonFilesFolder]", L"[CommonFiles64Folder]", L"[SystemFolder]", L"[System64Folder]", L"[WindowsFolder]"})
        m_systemRoots.insert(root);
}

void CQVIce06::LoadFilterDocument()
{
    if (!m_excludedFiles.empty())
        return;
    ::LoadFilterDocument(*this, [this](qv::XmlDocument& document) { WalkDocument(document); });
}

void CQVIce06::WalkDocument(qv::XmlDocument& document)
{
    for (const qv::XmlNode& node : Select(document, L"//Exclude/File")) {
        const _stringx<> name = qv::AttributeText(node, L"name");
        m_excludedFiles.emplace(NoCaseOf(name), qv::AttributeText(node, L"path"));
        std::vector<qv::XmlNode> children;
        Check(node.GetChildNodes(children));
        // A child without filekey adds an empty key, which no File row has.
        for (const qv::XmlNode& child : children)
            m_excludedFileKeys.emplace(NoCaseOf(name), qv::AttributeText(child, L"filekey"));
    }
    for (const qv::XmlNode& node : Select(document, L"//Include/File")) {
        const NoCase name = NoCaseOf(qv::AttributeText(node, L"name"));
        const _stringx<> path = qv::AttributeText(node, L"path");
        if (path.empty()) {
            m_excludedFiles.erase(name);
            continue;
        }
        auto [first, last] = m_excludedFiles.equal_range(name);
        for (auto entry = first; entry != last; ++entry) {
            if (NoCaseOf(entry->second) == NoCaseOf(path)) {
                m_excludedFiles.erase(entry);
                break;
            }
        }
    }
}

int CQVIce06::ClassifyFile(const PackageFile& file)
{
    const NoCase name = NoCaseOf(file.GetFileName());
    const _stringx<> key = file.GetKey();
    const auto [first, last] = m_excludedFiles.equal_range(name);
    if (first == last)
        return 0;
    const auto [keyFirst, keyLast] = m_excludedFileKeys.equal_range(name);
    for (auto exempt = keyFirst; exempt != keyLast; ++exempt)
        if (exempt->second == key)
            return 0;

    // A File row of a component that has no row has no directory either.
    _stringx<> path;
    const auto component = m_ownComponents.find(file.GetComponent());
    if (component != m_ownComponents.end() && component->second)
        path = BuildDirectoryPath(m_database, component->second->directory);
    const NoCase directory = NoCaseOf(path);
    for (auto entry = first; entry != last; ++entry)
        if (NoCaseOf(entry->second) == directory)
            return 1;

    const size_t bracket = path.find(L']');
    const _stringx<> root = bracket == _stringx<>::npos ? _stringx<>() : path.substr(0, bracket + 1);
    return m_systemRoots.count(NoCaseOf(root)) ? 2 : 0;
}

void CQVIce06::Validate()
{
    LoadFilterDocument();
    LoadComponents();
    ContentInspector inspector(this);
    for (const auto& [owned, file] : inspector.GetFiles(kAllFiles)) {
        if (file == nullptr)
            continue;
        const int kind = ClassifyFile(*file);
        if (kind == 0)
            continue;
        m_location = {L"File", L"File", file->GetKey()};
        if (kind == 1)
            ReportMessage(125, file->GetFileName(), file->GetComponent(), 1);
        else
            ReportMessage(163, file->GetFileName(), file->GetComponent(), 2);
    }
}
QV_CHECK_EXPORT(QVICE06, CQVIce06)

// ---- QVICE12 ------------------------------------------------------------------

CQVIce12::CQVIce12(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVIce12::~CQVIce12() = default;
_stringx<> CQVIce12::GetName() const { return Name; }
_stringx<> CQVIce12::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVIce12::LoadFilterDocument()
{
    if (!m_protectedKeys.empty())
        return;
    ::LoadFilterDocument(*this, [this](qv::XmlDocument& document) { WalkDocument(document); });
}

// A Registry element protects its key only when it carries wrp, whatever
// the value. Include/Registry has no effect.
void CQVIce12::WalkDocument(qv::XmlDocument& document)
{
    for (const qv::XmlNode& node : Select(document, L"//Exclude/Registry")) {
        long count = 0;
        Check(node.GetAttributeCount(count));
        if (count == 0)
            continue;
        qv::XmlNode wrp;
        Check(node.GetNamedItem(L"wrp", wrp));
        if (wrp.IsNull())
            continue;
        qv::XmlNode key;
        Check(node.GetNamedItem(L"key", key));
        if (key.IsNull())
            continue;  // wrp without key names nothing to protect
        _stringx<> text;
        Check(key.GetNodeValue(text));
        m_protectedKeys.insert(NoCaseOf(text));
    }
}

bool CQVIce12::ProtectedKeyMatch(const _stringx<>& fullKey) const
{
    NoCase key = NoCaseOf(fullKey);
    while (!key.empty()) {
        if (m_protectedKeys.count(key))
            return true;
        // Cut in place: the parent is a prefix of the key.
        const size_t slash = key.rfind(L'\\');
        if (slash == NoCase::npos)
            key.clear();
        else
            key.erase(slash);
    }
    return false;
}

void CQVIce12::Validate()
{
    LoadFilterDocument();
    RegistryInventory registry(this);
    for (const RegistryEntry* entry : registry.GetEntries()) {
        const _stringx<> fullKey = entry->FullKey();
        if (!ProtectedKeyMatch(fullKey))
            continue;
        m_location = {L"Registry", L"Key", entry->key};
        ReportMessage(130, fullKey, entry->component, 1);
    }
}
QV_CHECK_EXPORT(QVICE12, CQVIce12)
