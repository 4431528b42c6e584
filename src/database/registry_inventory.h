// The registry inventory: every row of the Registry table as an owned
// record, in fetch order (by Root), read at first use. A package without a
// Registry table has no records.
#pragma once

#include <cstdint>
#include <vector>

#include "foundation/stringx.h"
#include "platform/platform.h"

class CQVIceBase;

struct RegistryEntry {
    // From a Registry record: 1 key, 2 Root, 3 Key, 4 Name, 5 Value, 6 Component_.
    RegistryEntry(CQVIceBase* owner, MSIHANDLE record);

    // Root name, a backslash, the Key column, unformatted:
    // "HKEY_LOCAL_MACHINE\Software\Quill". Root -1 gives "<undefined>"; a
    // root outside -1..3 gives an empty name.
    _stringx<> FullKey() const;

    CQVIceBase* owner;
    _stringx<> key;
    int32_t root;
    _stringx<> keyPath;
    _stringx<> name;
    _stringx<> value;
    _stringx<> component;
};

// Name of a Root column value: -1 "<undefined>", 0 "HKEY_CLASSES_ROOT",
// 1 "HKEY_CURRENT_USER", 2 "HKEY_LOCAL_MACHINE", 3 "HKEY_USERS", else empty.
const wchar_t* RegistryRootName(int32_t root) noexcept;

class RegistryInventory {
public:
    explicit RegistryInventory(CQVIceBase* owner) : m_owner(owner) {}
    RegistryInventory(const RegistryInventory&) = delete;
    RegistryInventory& operator=(const RegistryInventory&) = delete;
    ~RegistryInventory();

    // The records, read on the first call from
    // SELECT * FROM `Registry` ORDER BY `Root`; installer errors throw.
    const std::vector<RegistryEntry*>& GetEntries();

private:
    CQVIceBase* m_owner;
    bool m_loaded = false;
    std::vector<RegistryEntry*> m_entries;  // owned
};
