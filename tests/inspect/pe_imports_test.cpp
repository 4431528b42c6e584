// Import and security inspection over real images from the mingw-w64 cross
// compilers (32- and 64-bit, imports by name and by ordinal, chosen header
// bits) and over images written byte by byte.
#include <algorithm>
#include <functional>

#include "framework/check_base.h"
#include "framework/fixture.h"
#include "inspect/imports.h"
#include "inspect/pe_image.h"
#include "pe_support.h"

using petest::Bytes;
using petest::MingwImages;
using petest::RecordingHost;
using Lines = std::vector<std::wstring>;

namespace {

qv::InspectedFile FileAt(const std::string& posixPath, const wchar_t* key = L"App.exe")
{
    const std::wstring path = petest::Files::Windows(posixPath);
    return {key, L"app.exe", L"MainComponent", path.c_str()};
}

// Lists one API of each kind, and one more that the images do not import.
RecordingHost ListingHost()
{
    RecordingHost host;
    host.byName[L"kernel32.dll"] = {{L"GetVersion", 2}, {L"GetVersionExW", 2}};
    host.byName[L"msvbvm60.dll"] = {{L"rtcMsgBox", 1}};
    host.byOrdinal[L"ordlib.dll"] = {{7, 2}, {8, 1}};
    return host;
}

// Replaces every copy of from with to (same length) in a copy of a file.
std::string Patched(petest::Files& files, const std::string& source, const std::string& name,
                    const std::string& from, const std::string& to)
{
    Bytes b = petest::ReadAll(source);
    auto at = std::search(b.begin(), b.end(), from.begin(), from.end());
    EXPECT_NE(at, b.end()) << from;
    for (; at != b.end(); at = std::search(at, b.end(), from.begin(), from.end()))
        std::copy(to.begin(), to.end(), at);
    return files.Write(name, b);
}

// The file offset of the first lookup-table entry of module in an image.
size_t LookupTableOffset(const std::string& path, const std::string& module)
{
    const PeImage image(petest::Files::Windows(path).c_str());
    const BYTE* descriptor = image.GetDirectory(1);
    for (; image.ReadDword(descriptor) != 0; descriptor += 20) {
        if (image.ReadNarrow(image.RvaToPointer(image.ReadDword(descriptor + 12))) == module)
            return static_cast<size_t>(image.RvaToFileOffset(image.ReadDword(descriptor)));
    }
    ADD_FAILURE() << module;
    return 0;
}

// A PE32 image with one section at rva 0x1000 (file 0x200) that holds an
// import directory at 0x1000: descriptors for "a.dll" with the given thunks.
Bytes ImportImage(std::vector<uint32_t> thunks, uint32_t importRva = 0x1000)
{
    petest::PeBuilder pe;
    pe.sections = {{0x1000, 0x200, 0x200, 0x200}};
    pe.directories[1] = {importRva, 40};
    Bytes b = pe.Build();
    petest::Put32(b, 0x200, 0x1080);       // OriginalFirstThunk
    petest::Put32(b, 0x200 + 12, 0x1040);  // Name
    petest::PutText(b, 0x240, "a.dll");
    for (size_t i = 0; i < thunks.size(); ++i)
        petest::Put32(b, 0x280 + 4 * i, thunks[i]);
    petest::Put16(b, 0x300, 1);  // hint
    petest::PutText(b, 0x302, "Listed");
    return b;
}

}  // namespace

TEST(PeImports, NamesAndOrdinalsInBothWidths)
{
    const MingwImages& images = MingwImages::Get();
    for (const std::string& path : {images.app32(), images.app64()}) {
        RecordingHost host = ListingHost();
        const qv::InspectedFile file = FileAt(path);
        qv::CheckImportedApis(host, file, 2, 137, 1);
        EXPECT_EQ(host.lines, (Lines{L"debug: Checking imported APIs for file App.exe",
                                     L"report 137 1: app.exe | MainComponent | ordlib.dll!7",
                                     L"report 137 1: app.exe | MainComponent | KERNEL32.dll!GetVersion",
                                     L"debug: Done checking imported APIs"}))
            << path;

        host.lines.clear();
        qv::CheckImportedApis(host, file, 1, 138, 2);
        EXPECT_EQ(host.lines, (Lines{L"debug: Checking imported APIs for file App.exe",
                                     L"report 138 2: app.exe | MainComponent | msvbvm60.dll!rtcMsgBox",
                                     L"debug: Done checking imported APIs"}))
            << path;
    }
}

TEST(PeImports, LargeNameRvaIsSkippedInTheWideWalk)
{
    petest::Files files;
    Bytes b = petest::ReadAll(MingwImages::Get().app64());
    const size_t thunk = LookupTableOffset(MingwImages::Get().app64(), "msvbvm60.dll");
    ASSERT_EQ(petest::Get32(b, thunk + 4), 0u);
    petest::Put32(b, thunk + 4, 1);  // 0x1xxxxxxxx: a name thunk of 2^32 or more
    const std::string patched = files.Write("large.exe", b);

    RecordingHost host = ListingHost();
    qv::CheckImportedApis(host, FileAt(patched), 1, 138, 1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking imported APIs for file App.exe",
                                 L"debug: Skipping import from msvbvm60.dll because of large RVA",
                                 L"debug: Done checking imported APIs"}));
}

TEST(PeImports, ImagesWithoutAWalkableDirectory)
{
    petest::Files files;
    Bytes ne = petest::DosHeader(0x80, 0x100);
    petest::Put16(ne, 0x80, 0x454E);
    petest::PeBuilder arm;
    arm.machine = 0x1C4;
    arm.directories[1] = {0x1000, 40};
    petest::PeBuilder empty;  // PE without an import directory
    const Lines noImports{L"debug: Checking imported APIs for file App.exe", L"debug: File has no Imports section"};
    for (const Bytes& bytes : {ne, arm.Build(), empty.Build()}) {
        RecordingHost host = ListingHost();
        qv::CheckImportedApis(host, FileAt(files.Write("x.exe", bytes)), 2, 137, 1);
        EXPECT_EQ(host.lines, noImports);
    }
    // A directory that no section holds.
    RecordingHost host = ListingHost();
    qv::CheckImportedApis(host, FileAt(files.Write("y.exe", ImportImage({0x1100}, 0x5000))), 2, 137, 1);
    EXPECT_EQ(host.lines,
              (Lines{L"debug: Checking imported APIs for file App.exe", L"debug: File missing Imports section",
                     L"debug: Done checking imported APIs"}));
}

TEST(PeImports, ByteImagesAndMalformedThunks)
{
    petest::Files files;
    RecordingHost host;
    host.byName[L"a.dll"] = {{L"Listed", 3}};
    host.byOrdinal[L"a.dll"] = {{0xFFFF, 3}};
    // A name thunk and an ordinal thunk whose low 16 bits are taken.
    qv::CheckImportedApis(host, FileAt(files.Write("ok.exe", ImportImage({0x1100, 0x8012FFFF}))), 3, 284, 2);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking imported APIs for file App.exe",
                                 L"report 284 2: app.exe | MainComponent | a.dll!Listed",
                                 L"report 284 2: app.exe | MainComponent | a.dll!65535",
                                 L"debug: Done checking imported APIs"}));
    // A name thunk that no section holds is read through address 2.
    EXPECT_THROW(qv::CheckImportedApis(host, FileAt(files.Write("bad.exe", ImportImage({0x9000}))), 3, 284, 2),
                 qv::view_access_error);
    // Thunks that run to the end of the file without a terminating zero.
    Bytes open = ImportImage({});
    std::fill(open.begin() + 0x280, open.end(), 0x80);  // ordinals to the end
    EXPECT_THROW(qv::CheckImportedApis(host, FileAt(files.Write("open.exe", open)), 3, 284, 2),
                 qv::view_access_error);
}

TEST(PeImports, Vb6RuntimeDependency)
{
    petest::Files files;
    const MingwImages& images = MingwImages::Get();
    RecordingHost host;
    const qv::InspectedFile file = FileAt(images.app32());
    qv::CheckVb6Dependency(host, file, 209, 1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for VB6 runtime dependency",
                                 L"report 209 1: app.exe | MainComponent | " + std::wstring(file.path.c_str())}));

    // Another version of the runtime is no match.
    host.lines.clear();
    qv::CheckVb6Dependency(host, FileAt(Patched(files, images.app64(), "vb5.exe", "msvbvm60", "msvbvm50")), 209,
                           1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for VB6 runtime dependency"}));

    // The name compares without regard to case.
    host.lines.clear();
    qv::CheckVb6Dependency(host, FileAt(Patched(files, images.app64(), "vbup.exe", "msvbvm60", "MSVBVM60")), 209,
                           1);
    EXPECT_EQ(host.lines.size(), 2u);

    host.lines.clear();
    qv::CheckVb6Dependency(host, FileAt(files.Write("dos.exe", Bytes(0x40, 'M'))), 209, 1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for VB6 runtime dependency",
                                 L"debug: File has no Imports section"}));
}

TEST(PeImports, BitnessAndManagedCode)
{
    petest::Files files;
    const MingwImages& images = MingwImages::Get();
    Bytes dos = petest::DosHeader(0, 0x40);
    petest::Put16(dos, 0x18, 0x1C);
    Bytes ne = petest::DosHeader(0x80, 0x100);
    petest::Put16(ne, 0x80, 0x454E);
    Bytes vxd = ne;
    petest::Put16(vxd, 0x80, 0x454C);
    petest::PeBuilder managed;
    managed.machine = 0x8664;
    managed.magic = 0x20B;
    managed.sections = {{0x1000, 0x100, 0x100, 0x200}};
    managed.directories[14] = {0x1000, 72};

    struct Case {
        std::string path;
        bool is16, is32, dotNet;
    };
    const std::vector<Case> cases{
        {images.app32(), false, true, false},
        {images.app64(), false, false, false},
        {files.Write("dos.exe", dos), true, false, false},
        {files.Write("ne.exe", ne), true, false, false},
        {files.Write("vxd.exe", vxd), false, false, false},
        {files.Write("managed.exe", managed.Build()), false, false, true},
        {files.dir() + "/absent.exe", false, false, false},
    };
    for (const Case& c : cases) {
        RecordingHost host;
        const qv::InspectedFile file = FileAt(c.path, L"K");
        EXPECT_EQ(qv::Is16Bit(host, file), c.is16) << c.path;
        EXPECT_EQ(qv::Is32Bit(host, file), c.is32) << c.path;
        EXPECT_EQ(qv::IsDotNetAssembly(host, file), c.dotNet) << c.path;
        EXPECT_EQ(host.lines, (Lines{L"debug: Checking if file K is 16-bit", L"debug: Checking if file K is 32-bit",
                                     L"debug: Checking if file K is a .NET assembly"}));
    }
}

TEST(PeSecurity, ThreeBitsInOrder)
{
    const MingwImages& images = MingwImages::Get();
    RecordingHost host;
    qv::CheckAppSecurity(host, FileAt(images.app32()), 214, 1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for App Security violations",
                                 L"report 214 1: App.exe | MainComponent | DYNAMICBASE",
                                 L"report 214 1: App.exe | MainComponent | NXCOMPAT",
                                 L"report 214 1: App.exe | MainComponent | safeSEH"}));
    host.lines.clear();
    qv::CheckAppSecurity(host, FileAt(images.app64()), 214, 1);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for App Security violations"}));

    petest::Files files;
    petest::PeBuilder pe;
    pe.dllCharacteristics = 0x0040 | 0x0400;
    host.lines.clear();
    qv::CheckAppSecurity(host, FileAt(files.Write("seh.exe", pe.Build())), 214, 3);
    EXPECT_EQ(host.lines, (Lines{L"debug: Checking App.exe for App Security violations",
                                 L"report 214 3: App.exe | MainComponent | NXCOMPAT",
                                 L"report 214 3: App.exe | MainComponent | safeSEH"}));
}

namespace {

using qvtest::Probe;

class ProbeHost : public qv::CheckInspectionHost {
public:
    using CheckInspectionHost::CheckInspectionHost;
    bool IsApiKindByOrdinal(int, const _stringx<>&, WORD) override { return false; }
    bool IsApiKindByName(int, const _stringx<>&, const _stringx<>&) override { return false; }
};

}  // namespace

TEST(PeSecurity, FindingsThroughACheck)
{
    qvtest::TempDir dir;
    petest::Files files;
    qvtest::Session session(qvtest::BuildPackage(dir, "sec", {qvtest::kPropertyTable}));
    const std::string dosPath = files.Write("dos.exe", Bytes(0x40, 'M'));
    auto body = [&](const std::string& path) {
        return [&, path](Probe& probe) {
            ProbeHost host(probe);
            probe.Location() = {L"File", L"File", L"App.exe"};
            qv::CheckAppSecurity(host, FileAt(path), 214, 1);
        };
    };
    Probe(session.handle(), body(MingwImages::Get().app32())).Execute();
    Probe(session.handle(), body(dosPath)).Execute();
    EXPECT_EQ(session.lines,
              (Lines{L"QVPROBE\t3\tQVPROBE - probe",
                     L"QVPROBE\t1\tFile 'App.exe' in Component 'MainComponent' does not have the Option Header bit "
                     L"DYNAMICBASE set.\t\tFile\tFile\tApp.exe",
                     L"QVPROBE\t1\tFile 'App.exe' in Component 'MainComponent' does not have the Option Header bit "
                     L"NXCOMPAT set.",
                     L"QVPROBE\t1\tFile 'App.exe' in Component 'MainComponent' does not have the Option Header bit "
                     L"safeSEH set.",
                     // The location set for the findings that never came goes out
                     // on the failure line.
                     L"QVPROBE\t3\tQVPROBE - probe",
                     L"QVPROBE\t0\tAn unhandled exception occurred.\t\tFile\tFile\tApp.exe"}));
}
