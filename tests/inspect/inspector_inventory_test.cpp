// Inventories of CQVIceBase: components, shortcuts and features loaded once
// per library load, files attached to their components, orphans, and the
// shared file list of GetPackageFiles.
#include <gtest/gtest.h>

#include "inspector_support.h"

namespace {

using namespace qvtest;
using Lines = std::vector<std::wstring>;

std::vector<std::string> InventoryPackage(bool withShortcuts)
{
    auto q = ProductTables();
    q.insert(q.end(), {ComponentRow("Main", "INSTALLDIR", "Tool"), ComponentRow("Docs", "TARGETDIR"),
                       FileRow("Tool", "Main", "tool.exe", 0x2000, 2), FileRow("Help", "Docs", "h.hlp", 0x2000, 1),
                       FileRow("Lost", "Gone", "l.txt", 0x2000, 3), FileRow("Util", "Main", "u.dll", 0x2000, 4),
                       kFeatureTable, FeatureRow("Complete"), FeatureRow("Extra")});
    if (withShortcuts) {
        q.push_back("CREATE TABLE `Shortcut` (`Shortcut` CHAR(72) NOT NULL, `Directory_` CHAR(72) NOT NULL, `Name` "
                    "CHAR(128) NOT NULL, `Component_` CHAR(72) NOT NULL, `Target` CHAR(72) NOT NULL PRIMARY KEY "
                    "`Shortcut`)");
        q.push_back("INSERT INTO `Shortcut` (`Shortcut`, `Directory_`, `Name`, `Component_`, `Target`) VALUES "
                    "('Start', 'INSTALLDIR', 'Tool', 'Main', '[#Tool]')");
    }
    return q;
}

TEST(Inventories, RecordsCarryTheirColumnsAndFilesAttachToTheirComponents)
{
    TempDir dir;
    const std::string msi = BuildPackage(dir, "inventory", InventoryPackage(true));
    std::vector<std::wstring> seen;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        probe.LoadFiles();
        probe.LoadFiles();  // no guard of its own: repeats, each file once per map
        probe.LoadShortcuts();
        probe.LoadFeatures();
        for (auto& [key, holder] : probe.Components()) {
            std::wstring text = key.str() + L"|" + holder->directory.str() + L"|" + holder->keyPath.str() + L"|" +
                                holder->componentId.str() + L"|" + (holder.owned() ? L"owned" : L"borrowed");
            for (auto& [fileKey, file] : holder->files)
                text += L" " + fileKey.str() + L"@" + std::to_wstring(file->GetSequence());
            seen.push_back(text);
        }
        for (auto& [key, holder] : probe.Shortcuts())
            seen.push_back(key.str() + L"|" + holder->directory.str() + L"|" + holder->component.str() + L"|" +
                           holder->target.str());
        for (auto& [key, holder] : probe.Features())
            seen.push_back(L"feature " + holder->key.str() + (holder->owner == &probe ? L" of probe" : L""));
    });
    EXPECT_EQ(seen, (std::vector<std::wstring>{
                        L"Docs|TARGETDIR||{11111111-1111-1111-1111-111111111111}|owned Help@1",
                        L"Main|INSTALLDIR|Tool|{11111111-1111-1111-1111-111111111111}|owned Tool@2 Util@4",
                        L"Start|INSTALLDIR|Main|[#Tool]",
                        L"feature Complete of probe",
                        L"feature Extra of probe",
                    }));
    // The orphan is named once per LoadFiles, as a debug line only.
    EXPECT_EQ(lines, (Lines{L"QVPROBE\t3\tOrphaned file Lost", L"QVPROBE\t3\tOrphaned file Lost",
                            L"QVPROBE\t3\tFinished ICE QVPROBE"}));
}

TEST(Inventories, AbsentTablesAreEmptyAndOrphansAreSilentWithoutDebugging)
{
    TempDir dir;
    auto q = InventoryPackage(false);
    q.erase(std::remove(q.begin(), q.end(), PropertyRow("_QV_DEBUGGING_ACTION", "1")), q.end());
    const std::string msi = BuildPackage(dir, "quiet", q);
    size_t shortcuts = 99;
    size_t components = 0;
    const Lines lines = RunInspect(msi, [&](InspectProbe& probe) {
        probe.LoadShortcuts();
        probe.LoadFiles();
        shortcuts = probe.Shortcuts().size();
        components = probe.Components().size();
    });
    EXPECT_EQ(shortcuts, 0u);
    EXPECT_EQ(components, 2u);
    EXPECT_TRUE(lines.empty());
}

TEST(Inventories, GuardsAndTheSharedFileListOutliveOneCheckUntilTheLibraryReset)
{
    TempDir dir;
    const std::string msi = BuildPackage(dir, "twice", InventoryPackage(true));
    QvResetLibraryState();
    Session session(msi);
    std::vector<size_t> sizes;
    std::vector<PackageFileList*> lists;
    auto run = [&] {
        InspectProbe probe(session.handle(), [&](InspectProbe& p) {
            p.LoadComponents();
            p.LoadFeatures();
            sizes.push_back(p.Components().size());
            sizes.push_back(p.Features().size());
            lists.push_back(&p.GetPackageFiles());
            sizes.push_back(lists.back()->size());
        });
        EXPECT_EQ(probe.Execute(), 0u);
    };
    run();
    run();  // same load: the guards are set, so the maps of the new object stay empty
    QvResetLibraryState();
    run();  // a fresh load
    QvResetLibraryState();
    EXPECT_EQ(sizes, (std::vector<size_t>{2, 2, 4, 0, 0, 4, 2, 2, 4}));
    EXPECT_EQ(lists[0], lists[1]);
}

}  // namespace
