#include "database/registry_inventory.h"

#include <memory>
#include <new>

#include "database/views.h"
#include "framework/check_base.h"

RegistryEntry::RegistryEntry(CQVIceBase* owner, MSIHANDLE record)
    : owner(owner),
      key(RecordFieldString(record, 1)),
      root(MsiRecordGetInteger(record, 2)),
      keyPath(RecordFieldString(record, 3)),
      name(RecordFieldString(record, 4)),
      value(RecordFieldString(record, 5)),
      component(RecordFieldString(record, 6))
{
}

const wchar_t* RegistryRootName(int32_t root) noexcept
{
    switch (root) {
    case -1:
        return L"<undefined>";
    case 0:
        return L"HKEY_CLASSES_ROOT";
    case 1:
        return L"HKEY_CURRENT_USER";
    case 2:
        return L"HKEY_LOCAL_MACHINE";
    case 3:
        return L"HKEY_USERS";
    default:
        return L"";
    }
}

_stringx<> RegistryEntry::FullKey() const
{
    _stringx<> text(RegistryRootName(root));
    text += L"\\";
    text += keyPath;
    return text;
}

RegistryInventory::~RegistryInventory()
{
    for (RegistryEntry* entry : m_entries)
        delete entry;
}

const std::vector<RegistryEntry*>& RegistryInventory::GetEntries()
{
    if (m_loaded)
        return m_entries;
    m_loaded = true;
    if (!TablePresent(m_owner->Database(), L"Registry"))
        return m_entries;
    ForEachRow(
        m_owner->Database(),
        [&](MSIHANDLE record) {
            std::unique_ptr<RegistryEntry> entry(new (std::nothrow) RegistryEntry(m_owner, record));
            if (!entry)
                throw com_exception(E_OUTOFMEMORY);
            m_entries.push_back(entry.get());
            entry.release();
        },
        L"SELECT * FROM `%s` ORDER BY `%s`", L"Registry", L"Root");
    return m_entries;
}
