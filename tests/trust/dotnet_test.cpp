// The ECMA-335 reader over mcs assemblies, the attribute text as the .NET
// operations parse it, and QVUWP12 and QVUWP13 over packages of assemblies.
#include "checks/uwp/dotnet_target.h"
#include "checks/uwp_fixture.h"
#include "inspect/metadata.h"
#include "platform/posix/inspect/ecma335.h"
#include "trust_support.h"

#include <filesystem>

namespace {

using trusttest::Assemblies;
using trusttest::Bytes;

const std::string kTfa = "System.Runtime.Versioning.TargetFrameworkAttribute";

Bytes Ser(const std::string& text)
{
    Bytes out = {static_cast<uint8_t>(text.size())};
    out.insert(out.end(), text.begin(), text.end());
    return out;
}

TEST(Ecma335, VersionAndAssemblyAttributesOfCompiledAssemblies)
{
    const Bytes fx = trusttest::ReadFile(Assemblies::Get().Path("fx45.exe"));
    qv::posix::Ecma335Reader reader;
    std::string reason;
    ASSERT_TRUE(reader.Open(fx.data(), fx.size(), reason)) << reason;
    EXPECT_EQ(reader.Version(), "v4.0.30319");
    EXPECT_EQ(reader.Rows(0x20), 1u);
    const auto attributes = reader.AssemblyAttributes(qv::ClrMetadata::kMaxAttributes);
    const auto tfa = std::find_if(attributes.begin(), attributes.end(), [](const auto& a) { return a.typeName == kTfa; });
    ASSERT_NE(tfa, attributes.end());
    EXPECT_EQ(tfa->ctorSignature, (Bytes{0x20, 0x01, 0x01, 0x0E}));
    // Prolog, the string, one named property of type string, its name and value.
    Bytes value = {0x01, 0x00};
    for (const Bytes& part : {Ser(".NETFramework,Version=v4.5"), Bytes{0x01, 0x00, 0x54, 0x0E},
                              Ser("FrameworkDisplayName"), Ser(".NET Framework 4.5")})
        value.insert(value.end(), part.begin(), part.end());
    EXPECT_EQ(tfa->value, value);
    // A limit counts every attribute of the assembly, matching or not.
    EXPECT_EQ(reader.AssemblyAttributes(0).size(), 0u);

    const Bytes clr2 = trusttest::ReadFile(Assemblies::Get().Path("clr2.exe"));
    ASSERT_TRUE(reader.Open(clr2.data(), clr2.size(), reason)) << reason;
    EXPECT_EQ(reader.Version(), "v2.0.50727");
    for (const auto& attribute : reader.AssemblyAttributes(qv::ClrMetadata::kMaxAttributes))
        EXPECT_NE(attribute.typeName, kTfa);
}

TEST(Ecma335, ImagesWithoutUsableMetadataGiveTheirReason)
{
    const Bytes fx = trusttest::ReadFile(Assemblies::Get().Path("fx45.exe"));
    const Bytes native = trusttest::ReadFile(trusttest::Signed::Get().Path("app.exe"));
    qv::posix::Ecma335Reader reader;
    std::string reason;
    EXPECT_FALSE(reader.Open(native.data(), native.size(), reason));
    EXPECT_EQ(reason, "no CLI header");
    Bytes broken = fx;
    const std::string bsjb = "BSJB";
    std::search(broken.begin(), broken.end(), bsjb.begin(), bsjb.end())[0] = 'X';
    EXPECT_FALSE(reader.Open(broken.data(), broken.size(), reason));
    EXPECT_EQ(reason, "no metadata signature");
    // Every prefix of the image fails cleanly or reads the same version.
    for (size_t size = 0; size < fx.size(); size += 7) {
        const Bytes prefix(fx.begin(), fx.begin() + static_cast<std::ptrdiff_t>(size));
        if (reader.Open(prefix.data(), prefix.size(), reason))
            EXPECT_EQ(reader.Version(), "v4.0.30319");
    }
}

TEST(AttributeText, PrologLengthAndTerminatorRules)
{
    const Bytes ctorString = {0x20, 0x01, 0x01, 0x0E};
    struct Case {
        Bytes signature, value;
        std::wstring text;
    } cases[] = {
        {ctorString, {0x01, 0x00, 0x03, 'a', 'b', 'c', 0x00, 0x00}, L"abc"},
        {ctorString, {0x01, 0x00, 0x03, 'a', 'b', 'c', 0x01, 0x00}, L"abc\x0001"},  // one named argument
        {ctorString, {0x01, 0x00}, L""},                                         // nothing after the prolog
        {ctorString, {}, L""},
        {ctorString, {0xFF, 0xFF, 0x02, 'h', 'i', 0x00}, L"hi"},                 // prolog untested
        {ctorString, {0x01, 0x00, 0x01, 'a', 'b', 0x00}, L"ab"},                 // measured to the zero byte
        {ctorString, {0x01, 0x00, 0x02, 'x', 'y'}, L"xy"},                       // or the blob's end
        {ctorString, {0x01, 0x00, 0xFF, 0x00, 0x00}, L""},                       // null string
        {ctorString, {0x01, 0x00, 0x80}, L""},                                   // two-byte length cut short
        {ctorString, {0x01, 0x00, 0xC0, 0x00, 0x00}, L""},                       // four-byte length cut short
        {ctorString, {0x01, 0x00, 0x80, 0x02, 'o', 'k', 0x00}, L"ok"},
        {ctorString, {0x01, 0x00, 0x02, 0xE9, 0x80, 0x00}, L"\x00E9\x20AC"},     // code page 1252
        {{0x20, 0x02, 0x01, 0x0E, 0x08}, {0x01, 0x00, 0x01, 'a', 0x00}, L"a"},   // further parameters pass
        {{0x20, 0x01, 0x01, 0x08}, {0x01, 0x00, 0x05, 0x00, 0x00, 0x00, 0x00}, L""},  // integer parameter
        {{0x20, 0x01, 0x0E, 0x0E}, {0x01, 0x00, 0x01, 'a', 0x00}, L""},          // not returning void
        {{0x20, 0x01}, {0x01, 0x00, 0x01, 'a', 0x00}, L""},                      // signature cut short
    };
    for (const Case& c : cases)
        EXPECT_EQ(qv::AttributeStringArgument(c.signature, c.value).str(), c.text)
            << testing::PrintToString(c.value);
    Bytes longText = {0x01, 0x00, 0x81, 0x2C};
    longText.insert(longText.end(), 300, 'z');
    EXPECT_EQ(qv::AttributeStringArgument(ctorString, longText).str(), std::wstring(259, L'z'));
}

std::wstring Finding(const std::wstring& check, UINT id, const std::wstring& key, const std::wstring& target = L"",
                     int type = 2)
{
    std::wstring text;
    if (id == 286)
        text = L"File " + key + L" in Component Main is a .NET assembly that was compiled against .NET Framework. "
                                L"Windows Nano Server supports only .NET Core applications.";
    else if (id == 287)
        text = L"File " + key + L" in Component Main is a .NET assembly that was compiled against " + target +
               L". Windows Nano Server supports only .NET Core applications.";
    else
        text = L"File " + key + L" in Component Main is a .NET assembly that does not support the latest version of "
                                L".NET Framework. Windows Store applications always run on the latest version of "
                                L".NET Framework.";
    return uwptest::At(check, type, text, key);
}

const std::wstring kBanner12 =
    L"QVUWP12\t3\tQVUWP12 - Checks for the presence of .NET assemblies that are incompatible with Windows Nano "
    L"Server";
const std::wstring kBanner13 =
    L"QVUWP13\t3\tQVUWP13 - Checks for the presence of .NET assemblies that do not support the latest version of "
    L".NET Framework";

std::optional<Bytes> Read(const std::string& name) { return trusttest::ReadFile(Assemblies::Get().Path(name)); }

TEST(QVUWP12, TargetFrameworkOfEachAssembly)
{
    const std::vector<uwptest::FileSpec> files = {
        {"Fx", "fx45.exe", Read("fx45.exe")},     {"Core", "core.dll", Read("core.dll")},
        {"Std", "std.dll", Read("std.dll")},      {"None", "none.exe", Read("none.exe")},
        {"Native", "app.exe", trusttest::ReadFile(trusttest::Signed::Get().Path("app.exe"))},
        {"Int", "intctor.exe", Read("intctor.exe")}, {"Lower", "lower.exe", Read("lower.exe")},
        {"Local", "local.exe", Read("local.exe")},   {"Text", "fx45.txt", Read("fx45.exe")},
        {"Gone", "gone.dll", std::nullopt}};
    const std::vector<std::string> severity = {uwptest::kSeverityTable, uwptest::SeverityRow("QVUWP12", "2")};
    EXPECT_EQ(uwptest::RunUwp(QVUWP12, files, severity),
              uwptest::With(kBanner12,
                            {Finding(L"QVUWP12", 287, L"Fx", L".NETFramework,Version=v4.5"),
                             Finding(L"QVUWP12", 286, L"None"), Finding(L"QVUWP12", 286, L"Int"),
                             Finding(L"QVUWP12", 287, L"Lower", L"Lower Case"), Finding(L"QVUWP12", 286, L"Local"),
                             uwptest::At(L"QVUWP12", 1,
                                         L"File gone.dll in Component Main could not be found. All tests against "
                                         L"this file's contents may be invalid.",
                                         L"Gone")}));
}

TEST(QVUWP12, DebugLineNamesTheAttributeAndTheKey)
{
    const uwptest::Lines lines =
        uwptest::RunUwp(QVUWP12, {{"Fx", "fx45.exe", Read("fx45.exe")}, {"Native", "n.dll", Read("fx45.cs")}},
                        {qvtest::kPropertyTable, qvtest::PropertyRow("_QV_DEBUGGING_ACTION", "1")});
    EXPECT_EQ(std::count(lines.begin(), lines.end(),
                         L"QVUWP12\t3\tGetting custom attribute " + std::wstring(kTfa.begin(), kTfa.end()) +
                             L" for assembly Fx"),
              1);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const std::wstring& l) { return l.find(L"Getting custom attribute") != l.npos; }),
              1);
}

std::optional<Bytes> Config(const std::string& runtimes)
{
    const std::string text = "<?xml version=\"1.0\"?>\n<configuration><startup>" + runtimes +
                             "</startup></configuration>\n";
    return Bytes(text.begin(), text.end());
}

// A product (it has a ProductCode) whose files are compressed in one embedded
// cabinet, entries named by File key, so that configuration files are reached
// after the target paths were costed.
uwptest::Lines RunCabinet(groupa::Export check, const std::vector<uwptest::FileSpec>& files)
{
    qvtest::TempDir dir;
    std::vector<std::string> queries = {
        groupa::kDirectoryTable, groupa::DirRow("TARGETDIR", "", "SourceDir"),
        groupa::DirRow("INSTALLDIR", "TARGETDIR", "App"), groupa::kComponentTable, groupa::kFileTable,
        "CREATE TABLE `Media` (`DiskId` SHORT NOT NULL, `LastSequence` SHORT NOT NULL, `DiskPrompt` CHAR(64), "
        "`Cabinet` CHAR(255), `VolumeLabel` CHAR(32), `Source` CHAR(72) PRIMARY KEY `DiskId`)",
        uwptest::Insert("Component", {"Component", "ComponentId", "Directory_", "Attributes"},
                        {"Main", "{11111111-1111-1111-1111-111111111111}", "INSTALLDIR", "0"})};
    std::string gcab = "cd " + qvtest::ShellQuote(dir.path() + "/cab") + " && gcab -c -n ../app.cab";
    std::filesystem::create_directories(dir.path() + "/cab");
    queries.push_back(qvtest::kPropertyTable);
    queries.push_back(qvtest::PropertyRow("ProductCode", "{22222222-2222-2222-2222-222222222222}"));
    int sequence = 0;
    for (const uwptest::FileSpec& file : files) {
        queries.push_back(uwptest::Insert("File", {"File", "Component_", "FileName", "FileSize", "Attributes", "Sequence"},
                                          {file.key, "Main", file.name, "1", "0", std::to_string(++sequence)}));
        if (file.bytes) {
            trusttest::WriteFile(dir.path() + "/cab/" + file.key, *file.bytes);
            gcab += " " + file.key;
        }
    }
    queries.push_back("INSERT INTO `Media` (`DiskId`, `LastSequence`, `Cabinet`) VALUES (1, " +
                      std::to_string(sequence) + ", '#app.cab')");
    trusttest::Run(gcab);
    const std::string msi = qvtest::BuildPackage(dir, "package", queries);
    trusttest::Run("msibuild " + qvtest::ShellQuote(msi) + " -a app.cab " + qvtest::ShellQuote(dir.path() + "/app.cab"));
    QvResetLibraryState();
    CQVAppx13::ResetInspectors();
    uwptest::Lines lines = groupa::RunCheck(check, msi);
    QvResetLibraryState();
    CQVAppx13::ResetInspectors();
    return lines;
}

TEST(QVUWP13, ClrVersionThenTheConfigurationFile)
{
    const std::vector<uwptest::FileSpec> files = {
        {"Tool", "Tool.exe", Read("clr2.exe")},
        {"ToolConfig", "tool.EXE.CONFIG",
         Config("<supportedRuntime version=\"v2.0.50727\"/><supportedRuntime version=\"v4.0\"/>")},
        {"Old", "old.exe", Read("clr2.exe")},
        {"OldConfig", "old.exe.config", Config("<supportedRuntime version=\"v2.0.50727\"/>")},
        {"Upper", "upper.exe", Read("clr2.exe")},
        {"UpperConfig", "upper.exe.config", Config("<supportedRuntime version=\"V4.0\"/>")},
        {"Ns", "ns.exe", Read("clr2.exe")},
        {"NsConfig", "ns.exe.config", Config("<x:supportedRuntime xmlns:x=\"urn:any\" version=\"v4.0.30319\"/>")},
        {"Broken", "broken.exe", Read("clr2.exe")},
        {"BrokenConfig", "broken.exe.config", Bytes{'<', 'a', '>'}},
        {"Bare", "bare.exe", Read("clr2.exe")},
        {"Lib", "lib.dll", Read("std.dll")},
        {"LibConfig", "lib.dll.config", std::nullopt},  // would be finding 162 if looked at
        {"Native", "app.exe", trusttest::ReadFile(trusttest::Signed::Get().Path("app.exe"))}};
    EXPECT_EQ(RunCabinet(QVUWP13, files),
              uwptest::With(kBanner13, {Finding(L"QVUWP13", 289, L"Old", L"", 1), Finding(L"QVUWP13", 289, L"Upper", L"", 1),
                                        Finding(L"QVUWP13", 289, L"Broken", L"", 1),
                                        Finding(L"QVUWP13", 289, L"Bare", L"", 1)}));
}

}  // namespace
