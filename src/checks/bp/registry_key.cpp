// QVBP20: Registry rows that would remove a root key or write under a key
// that applications should leave alone, matched against the sensitive keys
// of _QvRegistry by one binary search a row.
#include "checks/bp/registry_key.h"

#include <algorithm>

#include "database/views.h"

namespace {

using KeyText = _stringx<qv::char_traitsi>;

// Equal ignoring case and of equal length.
bool SameText(const KeyText& a, const KeyText& b) { return a.size() == b.size() && a.compare(b) == 0; }

}  // namespace

// Roots first, then keys ignoring case; the name decides between equal keys
// whatever the roots, as the list has always been ordered.
bool RegistryKeyEntryLess(const RegistryKeyEntry& a, const RegistryKeyEntry& b)
{
    if (a.root < b.root)
        return true;
    if (a.root == b.root && a.key.compare(b.key) < 0)
        return true;
    if (a.key.compare(b.key) == 0)
        return a.name.compare(b.name) < 0;
    return false;
}

const wchar_t* CQVBP20::RootText(int root)
{
    switch (root) {
    case -1: return L"HKEY_USER_SELECTABLE";
    case 0: return L"HKEY_CLASSES_ROOT";
    case 1: return L"HKEY_CURRENT_USER";
    case 2: return L"HKEY_LOCAL_MACHINE";
    case 3: return L"HKEY_USERS";
    default: return L"";
    }
}

CQVBP20::CQVBP20(MSIHANDLE hInstall) : CQVIceBase(hInstall) {}
CQVBP20::~CQVBP20() = default;
_stringx<> CQVBP20::GetName() const { return Name; }
_stringx<> CQVBP20::GetDescription() const { return LoadMessage(DescriptionId); }

void CQVBP20::Validate()
{
    // The list is a hard need: without _QvRegistry the query throws.
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            RegistryKeyEntry entry;
            entry.root = MsiRecordGetInteger(row, 1);
            entry.key = RecordFieldString(row, 2);
            entry.name = RecordFieldString(row, 3);
            m_entries.push_back(std::move(entry));
        },
        L"SELECT * FROM `%s`", L"_QvRegistry");
    // The order is not a strict weak one when equal keys stand under
    // different roots; a merge sort stays within bounds and deterministic
    // whatever the comparator answers.
    std::stable_sort(m_entries.begin(), m_entries.end(), RegistryKeyEntryLess);

    if (!TablePresent(m_database, L"Registry"))
        return;
    ForEachRow(
        m_database,
        [this](MSIHANDLE row) {
            const int root = MsiRecordGetInteger(row, 2);
            const KeyText key = RecordFieldString(row, 3);
            const KeyText name = RecordFieldString(row, 4);
            const _stringx<> rowKey = RecordFieldString(row, 1);
            MatchRegistryRow(root, key, name, rowKey);
        },
        L"SELECT * FROM `%s`", L"Registry");
}

// The search compares keys alone although the list is sorted root first:
// only the entries on the search path are tested, and the row's root plays
// no part in the match.
void CQVBP20::MatchRegistryRow(int root, const KeyText& key, const KeyText& name, const _stringx<>& rowKey)
{
    size_t low = 0;
    size_t high = m_entries.size();
    while (low < high) {
        const size_t mid = low + (high - low) / 2;
        const RegistryKeyEntry& entry = m_entries[mid];
        const bool sameKey = SameText(key, entry.key);
        if (sameKey && SameText(name, entry.name) && entry.name.view() == L"*") {
            Report(202, root, key, rowKey, 1);
            return;
        }
        if (sameKey && SameText(name, entry.name)) {
            Report(203, root, key, rowKey, 2);
            return;
        }
        if (entry.name.empty() && key.size() >= entry.key.size() &&
            KeyText::traits_type::compare(key.data(), entry.key.data(), entry.key.size()) == 0) {
            Report(203, root, key, rowKey, 2);
            return;
        }
        const size_t common = std::min(key.size(), entry.key.size());
        const int order = KeyText::traits_type::compare(key.data(), entry.key.data(), common);
        if (order > 0 || (order == 0 && key.size() >= entry.key.size()))
            low = mid + 1;
        else
            high = mid;
    }
}

void CQVBP20::Report(UINT id, int root, const KeyText& key, const _stringx<>& rowKey, int type)
{
    // Root text and key joined by one backslash, added only when neither
    // side brings one and the root text is not empty.
    _stringx<> path = RootText(root);
    if (!path.empty() && path.data()[path.size() - 1] != L'\\' && (key.empty() || key.data()[0] != L'\\'))
        path.push_back(L'\\');
    path.append(key.data(), key.size());

    m_location.clear();
    m_location.push_back(L"Registry");
    m_location.push_back(L"Key");
    m_location.push_back(rowKey);
    ReportMessage(id, rowKey, path, type);
}

QV_CHECK_EXPORT(QVBP20, CQVBP20)
