// QVBP20: Registry rows against the sensitive keys of _QvRegistry, by the
// binary search over the root-first list.
#include "checks/bp/registry_key.h"
#include "groupB_fixture.h"

namespace {

using groupb::Insert;
using groupb::Join;
using groupb::Lines;
using groupb::Queries;
using groupb::Quoted;
using groupb::RunCheck;

const wchar_t* const kBanner =
    L"QVBP20\t3\tQVBP20 - Verifies that no registry entries contained in the Registry table attempt to remove root "
    L"level registry keys (such as HKLM\\Software) or other keys which could cause adverse issues on target "
    L"machines.";

const char* kReferenceTable = "CREATE TABLE `_QvRegistry` (`Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL, `Name` "
                              "CHAR(255) PRIMARY KEY `Root`, `Key`, `Name`)";
const char* kRegistryTable =
    "CREATE TABLE `Registry` (`Registry` CHAR(72) NOT NULL, `Root` SHORT NOT NULL, `Key` CHAR(255) NOT NULL "
    "LOCALIZABLE, `Name` CHAR(255) LOCALIZABLE, `Value` CHAR(0) LOCALIZABLE, `Component_` CHAR(72) NOT NULL PRIMARY "
    "KEY `Registry`)";

// An empty name leaves the Name column null.
std::string Entry(int root, const std::string& key, const std::string& name)
{
    return Insert("_QvRegistry", name.empty() ? "`Root`, `Key`" : "`Root`, `Key`, `Name`",
                  std::to_string(root) + ", " + Quoted(key) + (name.empty() ? "" : ", " + Quoted(name)));
}
std::string Row(const std::string& id, int root, const std::string& key, const std::string& name)
{
    return Insert("Registry", name.empty() ? "`Registry`, `Root`, `Key`, `Component_`"
                                           : "`Registry`, `Root`, `Key`, `Name`, `Component_`",
                  Quoted(id) + ", " + std::to_string(root) + ", " + Quoted(key) +
                      (name.empty() ? "" : ", " + Quoted(name)) + ", 'Main'");
}

// Sorted: Control Panel\Desktop (root 1), then Software, Software\...\Run,
// System\CurrentControlSet (root 2).
Queries FourEntries()
{
    return {kReferenceTable,
            Entry(1, "Control Panel\\Desktop", "Wallpaper"),
            Entry(2, "Software", "*"),
            Entry(2, "Software\\Microsoft\\Windows\\CurrentVersion\\Run", ""),
            Entry(2, "System\\CurrentControlSet", "")};
}

std::wstring Asterisk(const std::wstring& id, const std::wstring& path)
{
    return L"QVBP20\t1\tRegistry entry " + id +
           L" contains an asterisk in the Name column. This will cause Windows Installer to attempt to remove a root "
           L"registry key " +
           path + L".\t\tRegistry\tKey\t" + id;
}

std::wstring Adverse(const std::wstring& id, const std::wstring& path)
{
    return L"QVBP20\t2\tRegistry entry " + id +
           L" installs to a key that is not recommended for installation with software applications. Installing "
           L"this entry could have an adverse effect on target machines (" +
           path + L").\t\tRegistry\tKey\t" + id;
}

const Queries kRows = {
    kRegistryTable,
    Row("r1", 2, "SOFTWARE", "*"),
    Row("r2", 2, "Software\\Microsoft\\Windows\\CurrentVersion\\Run", "Tool"),
    Row("r3", 1, "software\\microsoft\\windows\\currentversion\\run\\Sub", ""),
    Row("r4", 1, "Control Panel\\Desktop", "wallpaper"),
    Row("r5", 1, "Control Panel\\Desktop", "Other"),
    Row("r6", 7, "System\\CurrentControlSet\\Services\\Quill", ""),
    Row("r7", 2, "Software\\Quill", "*"),
    Row("r8", 2, "Software", ""),
    Row("r9", 0, "Software\\Microsoft\\Windows\\CurrentVersion\\RunOnce", "X"),
};

TEST(QVBP20, RootRemovalsAndSensitiveKeysAtMostOneFindingARow)
{
    EXPECT_EQ(RunCheck(QVBP20, "bp20", Join(FourEntries(), kRows)),
              (Lines{
                  kBanner,
                  // "*" on both sides: a root removal.
                  Asterisk(L"r1", L"HKEY_LOCAL_MACHINE\\SOFTWARE"),
                  // Below a key listed with an empty name, ignoring case,
                  // whatever the row's root.
                  Adverse(L"r2", L"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Run"),
                  Adverse(L"r3", L"HKEY_CURRENT_USER\\software\\microsoft\\windows\\currentversion\\run\\Sub"),
                  // One listed value, ignoring case; another value is nothing.
                  Adverse(L"r4", L"HKEY_CURRENT_USER\\Control Panel\\Desktop"),
                  // Root 7 has no text.
                  Adverse(L"r6", L"System\\CurrentControlSet\\Services\\Quill"),
                  // "*" under a key not listed with "*", or an empty name
                  // against "*", is nothing (r7, r8); the prefix is textual (r9).
                  Adverse(L"r9", L"HKEY_CLASSES_ROOT\\Software\\Microsoft\\Windows\\CurrentVersion\\RunOnce"),
              }));
}

TEST(QVBP20, OnlyEntriesOnTheKeySearchPathOfTheRootFirstListMatch)
{
    // A root 3 entry sorts last although its key sorts first: a key-only
    // search never reaches it, and it moves the path away from
    // System\CurrentControlSet, so r6 no longer matches either.
    const Queries entries = Join(FourEntries(), {Entry(3, "AAA", "")});
    const Queries rows = {kRegistryTable, Row("r2", 2, "Software\\Microsoft\\Windows\\CurrentVersion\\Run", "Tool"),
                          Row("r6", 7, "System\\CurrentControlSet\\Services\\Quill", ""),
                          Row("rA", 3, "AAA\\Sub", "")};
    EXPECT_EQ(RunCheck(QVBP20, "bp20path", Join(entries, rows)),
              (Lines{kBanner, Adverse(L"r2", L"HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Run")}));
}

TEST(QVBP20, ReferenceListIsAHardNeedAndMayBeEmpty)
{
    EXPECT_EQ(RunCheck(QVBP20, "bp20empty", Join({kReferenceTable}, kRows)), (Lines{kBanner}));
    EXPECT_EQ(RunCheck(QVBP20, "bp20noreg", FourEntries()), (Lines{kBanner}));
    EXPECT_EQ(RunCheck(QVBP20, "bp20noref", kRows),
              (Lines{kBanner, groupb::MissingTableLine(L"QVBP20", L"_QvRegistry")}));
}

TEST(QVBP20, OrderIsRootFirstThenKeyThenNameIgnoringCase)
{
    const auto entry = [](int root, const wchar_t* key, const wchar_t* name) {
        RegistryKeyEntry e;
        e.root = root;
        e.key = key;
        e.name = name;
        return e;
    };
    EXPECT_TRUE(RegistryKeyEntryLess(entry(1, L"Zeta", L""), entry(2, L"Alpha", L"")));
    EXPECT_FALSE(RegistryKeyEntryLess(entry(2, L"Alpha", L""), entry(1, L"Zeta", L"")));
    EXPECT_TRUE(RegistryKeyEntryLess(entry(2, L"alpha", L""), entry(2, L"BETA", L"")));
    EXPECT_TRUE(RegistryKeyEntryLess(entry(2, L"Key", L"a"), entry(2, L"KEY", L"B")));
    EXPECT_FALSE(RegistryKeyEntryLess(entry(2, L"Key", L"x"), entry(2, L"key", L"X")));
    // Equal keys under a higher root still compare by name.
    EXPECT_TRUE(RegistryKeyEntryLess(entry(3, L"Key", L"a"), entry(2, L"Key", L"b")));
    EXPECT_FALSE(RegistryKeyEntryLess(entry(3, L"Alpha", L"a"), entry(2, L"Beta", L"b")));
}

}  // namespace
