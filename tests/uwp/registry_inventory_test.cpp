// The registry inventory through a probe check that reports each record:
// fetch order by Root, every column, the full key text for each root.
// (Reported lines pass through the installer's formatting, so the rows hold
// no bracketed text.)
#include "checks/groupA_fixture.h"
#include "database/registry_inventory.h"
#include "framework/check_base.h"
#include "framework/library.h"

namespace {

using groupa::Insert;
using groupa::Lines;

class RegistryProbe : public CQVIceBase {
public:
    explicit RegistryProbe(MSIHANDLE install) : CQVIceBase(install) {}
    _stringx<> GetName() const override { return L"PROBE"; }
    _stringx<> GetDescription() const override { return L"registry"; }
    void Validate() override
    {
        RegistryInventory inventory(this);
        for (int pass = 0; pass < 2; ++pass) {  // the second call must not read again
            for (const RegistryEntry* entry : inventory.GetEntries()) {
                _stringx<> line;
                FormatString(line, L"%s|%d|%s|%s|%s|%s", entry->key, entry->root, entry->FullKey(), entry->name,
                             entry->value, entry->component);
                ReportText(line, 3);
            }
        }
    }
};

Lines Probe(const std::vector<std::string>& queries)
{
    qvtest::TempDir dir;
    const std::string msi = qvtest::BuildPackage(dir, "package", queries);
    QvResetLibraryState();
    qvtest::Session session(msi);
    RegistryProbe probe(session.handle());
    probe.Execute();
    QvResetLibraryState();
    return session.lines;
}

std::string Row(const std::string& id, const std::string& root, const std::string& key, const std::string& name,
                const std::string& value)
{
    return Insert("Registry", {"Registry", "Root", "Key", "Name", "Value", "Component_"},
                  {id, root, key, name, value, "Main"});
}

TEST(RegistryInventory, RecordsByRootWithTheirFullKeys)
{
    const Lines lines = Probe({groupa::kRegistryTable, Row("u", "3", "S-1\\Env", "NULL", "NULL"),
                               Row("m", "2", "Software\\Quill\\Paths", "Path", "C:\\Quill"),
                               Row("x", "-1", "Software\\Quill", "NULL", "#1"), Row("c", "0", ".qvx", "NULL", "Quill"),
                               Row("w", "1", "Software\\Quill", "Size", "#%42")});
    const Lines once = {L"PROBE\t3\tx|-1|<undefined>\\Software\\Quill||#1|Main",
                        L"PROBE\t3\tc|0|HKEY_CLASSES_ROOT\\.qvx||Quill|Main",
                        L"PROBE\t3\tw|1|HKEY_CURRENT_USER\\Software\\Quill|Size|#%42|Main",
                        L"PROBE\t3\tm|2|HKEY_LOCAL_MACHINE\\Software\\Quill\\Paths|Path|C:\\Quill|Main",
                        L"PROBE\t3\tu|3|HKEY_USERS\\S-1\\Env|||Main"};
    Lines expected = {L"PROBE\t3\tPROBE - registry"};
    for (int pass = 0; pass < 2; ++pass)
        expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(lines, expected);
}

TEST(RegistryInventory, AbsentTableHasNoRecords)
{
    EXPECT_EQ(Probe({groupa::kComponentTable}), (Lines{L"PROBE\t3\tPROBE - registry"}));
}

}  // namespace
