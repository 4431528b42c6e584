// QVICE07 over fixture packages: the five component tests and the shortcut
// targets that its own LoadShortcuts collects.
#include "checks/ice/component_authoring.h"
#include "framework/library.h"
#include "groupA_fixture.h"

namespace {

using groupa::Insert;
using groupa::Lines;
using groupa::With;
using Rows = std::vector<std::string>;

const wchar_t* const kBanner =
    L"QVICE07\t3\tQVICE07 - Validate that MSI components are authored for proper installation and uninstallation";
const wchar_t* const kFinished = L"QVICE07\t3\tFinished ICE QVICE07";

const char* kFeatureComponents =
    "CREATE TABLE `FeatureComponents` (`Feature_` CHAR(38) NOT NULL, `Component_` CHAR(72) NOT NULL PRIMARY KEY "
    "`Feature_`, `Component_`)";
const char* kShortcut =
    "CREATE TABLE `Shortcut` (`Shortcut` CHAR(72) NOT NULL, `Directory_` CHAR(72) NOT NULL, `Name` CHAR(128) NOT "
    "NULL, `Component_` CHAR(72) NOT NULL, `Target` CHAR(72) NOT NULL PRIMARY KEY `Shortcut`)";
const char* kClass =
    "CREATE TABLE `Class` (`CLSID` CHAR(38) NOT NULL, `Context` CHAR(32) NOT NULL, `Component_` CHAR(72) NOT NULL "
    "PRIMARY KEY `CLSID`, `Context`, `Component_`)";
const char* kTypeLib =
    "CREATE TABLE `TypeLib` (`LibID` CHAR(38) NOT NULL, `Language` SHORT NOT NULL, `Component_` CHAR(72) NOT NULL "
    "PRIMARY KEY `LibID`, `Language`, `Component_`)";
const char* kMsiAssembly =
    "CREATE TABLE `MsiAssembly` (`Component_` CHAR(72) NOT NULL, `Feature_` CHAR(38) NOT NULL, `File_Manifest` "
    "CHAR(72), `File_Application` CHAR(72), `Attributes` SHORT PRIMARY KEY `Component_`)";
const char* kSelfReg = "CREATE TABLE `SelfReg` (`File_` CHAR(72) NOT NULL, `Cost` SHORT PRIMARY KEY `File_`)";

std::string Component(const std::string& key, const std::string& id, const std::string& directory = "INSTALLDIR",
                      const std::string& keyPath = "NULL")
{
    return Insert("Component", {"Component", "ComponentId", "Directory_", "Attributes", "KeyPath"},
                  {key, id, directory, "0", keyPath});
}
std::string File(const std::string& key, const std::string& component, const std::string& name, int sequence)
{
    return Insert("File", {"File", "Component_", "FileName", "FileSize", "Sequence"},
                  {key, component, name, "1", std::to_string(sequence)});
}
std::string InFeature(const std::string& feature, const std::string& component)
{
    return Insert("FeatureComponents", {"Feature_", "Component_"}, {feature, component});
}
std::string Link(const std::string& key, const std::string& directory, const std::string& component,
                 const std::string& target)
{
    return Insert("Shortcut", {"Shortcut", "Directory_", "Name", "Component_", "Target"},
                  {key, directory, key, component, target});
}
std::string ClassRow(const std::string& clsid, const std::string& component)
{
    return Insert("Class", {"CLSID", "Context", "Component_"}, {clsid, "InprocServer32", component});
}
std::string TypeLibRow(const std::string& component)
{
    return Insert("TypeLib", {"LibID", "Language", "Component_"}, {"{LIB-" + component + "}", "0", component});
}

const std::string kId = "{11111111-1111-1111-1111-111111111111}";

// The tables every case needs, then the case's rows; each run starts from a
// fresh library so that the process-wide inventory guards do not carry over.
Lines Run07(const Rows& rows, bool debugging = false)
{
    Rows all = {groupa::kDirectoryTable,
                groupa::DirRow("TARGETDIR", "", "SourceDir"),
                groupa::DirRow("INSTALLDIR", "TARGETDIR", "App"),
                groupa::kComponentTable,
                groupa::kFileTable,
                kFeatureComponents};
    if (debugging) {
        all.push_back(qvtest::kPropertyTable);
        all.push_back(qvtest::PropertyRow("_QV_DEBUGGING_ACTION", "1"));
    }
    all.insert(all.end(), rows.begin(), rows.end());
    QvResetLibraryState();
    Lines lines = groupa::RunOn(QVICE07, all);
    QvResetLibraryState();
    return lines;
}

std::wstring Finding(const std::wstring& text, const std::wstring& column, const std::wstring& component)
{
    return L"QVICE07\t1\t" + text + L"\t\tComponent\t" + column + L"\t" + component;
}
std::wstring NullId(const std::wstring& c)
{
    return Finding(L"Component.ComponentId for Component " + c +
                       L" is null. All components must have a valid ComponentId for proper installation and "
                       L"uninstallation. If this is left null, justification must be documented.",
                   L"ComponentId", c);
}
std::wstring ComData(const std::wstring& c)
{
    return Finding(L"Component " + c +
                       L" contains COM data, but it has more than 1 file. Each COM component should contain only 1 "
                       L"COM file.",
                   L"Component", c);
}
std::wstring MultipleFeatures(const std::wstring& c, const std::wstring& tables)
{
    return Finding(L"Component " + c +
                       L" is associated with multiple features and is referenced in the following tables: " + tables +
                       L". These references require the component to be associated with exactly 1 feature.",
                   L"Component", c);
}
std::wstring TwoTargets(const std::wstring& c)
{
    return Finding(L"Component " + c + L" has more than one file as the target of a Desktop or Start Menu shortcut.",
                   L"Component", c);
}
std::wstring Gac(const std::wstring& c)
{
    return Finding(L"Component " + c +
                       L" is installed to the Global Assembly Cache. This requires a waiver for Windows 7 Logo "
                       L"Certification.",
                   L"Directory_", c);
}

TEST(QVICE07, ComponentIdAndComData)
{
    EXPECT_EQ(Run07({kClass, kTypeLib, kSelfReg,
                   // Null id and no files: message 122 alone.
                   Component("A_NoId", "NULL"),
                   // One file, two classes: no 123.
                   Component("B_OneFile", kId), File("b1", "B_OneFile", "b1.dll", 1),
                   ClassRow("{C1}", "B_OneFile"), ClassRow("{C2}", "B_OneFile"),
                   // Two files and a type library: 123.
                   Component("C_TypeLib", kId), File("c1", "C_TypeLib", "c1.dll", 2),
                   File("c2", "C_TypeLib", "c2.dll", 3), TypeLibRow("C_TypeLib"),
                   // Two files, one self-registered: 123; and a null id too.
                   Component("D_SelfReg", "NULL"), File("d1", "D_SelfReg", "d1.dll", 4),
                   File("d2", "D_SelfReg", "d2.dll", 5), Insert("SelfReg", {"File_", "Cost"}, {"d2", "0"}),
                   // Two files, no COM data at all.
                   Component("E_Plain", kId), File("e1", "E_Plain", "e1.txt", 6), File("e2", "E_Plain", "e2.txt", 7),
                   InFeature("F", "A_NoId"), InFeature("F", "B_OneFile"), InFeature("F", "C_TypeLib"),
                   InFeature("F", "D_SelfReg"), InFeature("F", "E_Plain")}),
              With(kBanner, {NullId(L"A_NoId"), ComData(L"C_TypeLib"), NullId(L"D_SelfReg"), ComData(L"D_SelfReg")}));
}

TEST(QVICE07, MultipleFeaturesAndMissingFeatureComponents)
{
    const Rows twoFeatures = {InFeature("F1", "A_Unreferenced"), InFeature("F2", "A_Unreferenced"),
                              InFeature("F1", "B_Referenced"),   InFeature("F2", "B_Referenced"),
                              InFeature("F1", "C_OneFeature")};
    Rows rows = {kClass, kTypeLib, kMsiAssembly,
                 Component("A_Unreferenced", kId), Component("B_Referenced", kId), Component("C_OneFeature", kId),
                 ClassRow("{C1}", "B_Referenced"), TypeLibRow("B_Referenced"), ClassRow("{C2}", "C_OneFeature"),
                 // A file, so that the assembly row is not judged for the cache.
                 Insert("MsiAssembly", {"Component_", "Feature_", "File_Application"}, {"B_Referenced", "F1", "b1"}),
                 File("b1", "B_Referenced", "b1.dll", 1)};
    rows.insert(rows.end(), twoFeatures.begin(), twoFeatures.end());
    EXPECT_EQ(Run07(rows), With(kBanner, {MultipleFeatures(L"B_Referenced", L"Class,MsiAssembly,TypeLib")}));

    // Without FeatureComponents the first component's count ends the check;
    // the finding made before it stands.
    QvResetLibraryState();
    Lines lines = groupa::RunOn(QVICE07, {groupa::kComponentTable, Component("A", "NULL"), Component("B", "NULL")});
    QvResetLibraryState();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[1], NullId(L"A"));
    EXPECT_EQ(lines[2].rfind(L"QVICE07\t0\tAn unexpected exception occurred in running QVICE07. ", 0), 0u) << lines[2];
}

TEST(QVICE07, ShortcutTargets)
{
    const Rows tables = {kShortcut,
                         groupa::DirRow("DesktopFolder", "TARGETDIR", "Desktop"),
                         groupa::DirRow("DeskSub", "DesktopFolder", "Sub"),
                         groupa::DirRow("ProgramMenuFolder", "TARGETDIR", "Programs"),
                         groupa::DirRow("MenuSub", "ProgramMenuFolder", "Co"),
                         groupa::DirRow("MenuSubSub", "MenuSub", "App"),
                         groupa::DirRow("StartupFolder", "TARGETDIR", "Startup"),
                         Component("Two", kId, "INSTALLDIR", "t1"),
                         File("t1", "Two", "T1.EXE|Tool One.exe", 1),
                         File("t2", "Two", "tool2.exe", 2),
                         Component("One", kId, "INSTALLDIR", "o1"),
                         File("o1", "One", "one.exe", 3),
                         InFeature("F", "Two"),
                         InFeature("F", "One")};
    auto with = [&](Rows rows) {
        rows.insert(rows.begin(), tables.begin(), tables.end());
        return rows;
    };
    // Literal targets, one in capitals, from the desktop and a Start Menu folder.
    EXPECT_EQ(Run07(with({Link("S1", "DesktopFolder", "Two", "[INSTALLDIR]tool one.exe"),
                        Link("S2", "ProgramMenuFolder", "Two", "[INSTALLDIR]TOOL2.EXE")})),
              With(kBanner, {TwoTargets(L"Two")}));
    // An advertised shortcut reaches the key file (by its long name); any
    // depth below the Start Menu counts.
    EXPECT_EQ(Run07(with({Link("S1", "MenuSubSub", "Two", "F"), Link("S2", "StartupFolder", "Two", "[INSTALLDIR]tool2.exe")})),
              With(kBanner, {TwoTargets(L"Two")}));
    // Below the desktop does not count, nor does a folder outside the menus.
    EXPECT_EQ(Run07(with({Link("S1", "DeskSub", "Two", "[INSTALLDIR]tool one.exe"),
                        Link("S2", "INSTALLDIR", "Two", "[INSTALLDIR]tool2.exe"),
                        Link("S3", "ProgramMenuFolder", "Two", "[INSTALLDIR]tool one.exe")})),
              With(kBanner, {}));
    // The same target twice counts once; a formatted target that is no
    // literal file path matches nothing.
    EXPECT_EQ(Run07(with({Link("S1", "DesktopFolder", "Two", "[INSTALLDIR]tool2.exe"),
                        Link("S2", "ProgramMenuFolder", "Two", "[INSTALLDIR]Tool2.exe"),
                        Link("S3", "StartupFolder", "Two", "[#t1]")})),
              With(kBanner, {}));
    // Debugging: an advertised shortcut of an unknown component gives only
    // the debug line; one into a one-file component records nothing.
    EXPECT_EQ(Run07(with({Link("S1", "DesktopFolder", "Ghost", "F"), Link("S2", "DesktopFolder", "One", "F"),
                        Link("S3", "DesktopFolder", "Two", "[INSTALLDIR]one.exe")}),
                  true),
              With(kBanner, {L"QVICE07\t3\tOrphaned advertised S1", kFinished}));
}

TEST(QVICE07, GlobalAssemblyCache)
{
    auto assembly = [](const std::string& component, const std::string& application) {
        return Insert("MsiAssembly", {"Component_", "Feature_", "File_Application"}, {component, "F", application});
    };
    EXPECT_EQ(Run07({kMsiAssembly,
                   // No files: not judged.
                   Component("A_Empty", kId), assembly("A_Empty", "NULL"),
                   // A file and no application file: in the cache.
                   Component("B_Gac", kId), File("b1", "B_Gac", "b.dll", 1), assembly("B_Gac", "NULL"),
                   // A private assembly.
                   Component("C_Private", kId), File("c1", "C_Private", "c.dll", 2), assembly("C_Private", "c1"),
                   // No assembly row.
                   Component("D_None", kId), File("d1", "D_None", "d.dll", 3), InFeature("F", "A_Empty"),
                   InFeature("F", "B_Gac"), InFeature("F", "C_Private"), InFeature("F", "D_None")}),
              With(kBanner, {Gac(L"B_Gac")}));
}

}  // namespace
