// The PE reader over images written byte by byte: classification, the
// directory layout per class, the section walk, and checked reads.
#include "inspect/pe_image.h"

#include "pe_support.h"

using petest::Bytes;
using petest::PeBuilder;
using petest::Put16;
using petest::Put32;

namespace {

struct Classified {
    int status;
    int exeStatus;
    int exeClass;
    LONG newHeader;
    std::wstring name;
    bool operator==(const Classified&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Classified& c)
{
    return out << "{" << c.status << "," << c.exeStatus << "," << c.exeClass << "," << c.newHeader << ","
               << qv::posix::to_utf8(c.name) << "}";
}

Classified Classify(petest::Files& files, const Bytes& bytes)
{
    const ExeFile exe(files.WriteW("x.bin", bytes).c_str());
    return {exe.GetStatus(), exe.GetExeStatus(), exe.GetExeClass(), exe.GetNewHeaderOffset(),
            exe.GetClassName().c_str()};
}

Bytes WithSignature(uint32_t word, size_t size = 0x100)
{
    Bytes b = petest::DosHeader(0x80, size);
    Put32(b, 0x80, word);
    return b;
}

PeBuilder Image(uint16_t machine, uint16_t magic)
{
    PeBuilder pe;
    pe.machine = machine;
    pe.magic = magic;
    return pe;
}

}  // namespace

TEST(PeClassify, HeadersAndSignatures)
{
    petest::Files files;
    Bytes noMz(0x40, 0);
    Bytes dos = WithSignature(0);
    Put16(dos, 0x18, 0x3F);
    Bytes negative = petest::DosHeader(0x80000000u, 0x100);

    EXPECT_EQ(Classify(files, Bytes(0x3F, 'M')), (Classified{0, 2, 0, -1, L"Invalid"}));
    EXPECT_EQ(Classify(files, noMz), (Classified{0, 2, 0, -1, L"Invalid"}));
    EXPECT_EQ(Classify(files, dos), (Classified{0, 0, 1, -1, L"DOS"}));
    EXPECT_EQ(Classify(files, negative), (Classified{0, 0, 0, -1, L"Invalid"}));
    EXPECT_EQ(Classify(files, WithSignature(0x454E)), (Classified{0, 0, 2, 0x80, L"NE"}));
    EXPECT_EQ(Classify(files, WithSignature(0x454C)), (Classified{0, 0, 3, 0x80, L"VXD"}));
    // 0x4558 is "XE" in file order; the letters "LX" are no class.
    EXPECT_EQ(Classify(files, WithSignature(0x4558)), (Classified{0, 0, 4, 0x80, L"LX"}));
    EXPECT_EQ(Classify(files, WithSignature(0x584C)), (Classified{0, 0, 0, 0x80, L"Invalid"}));
    EXPECT_EQ(Classify(files, WithSignature(0x12345678)), (Classified{0, 0, 0, 0x80, L"Invalid"}));
}

TEST(PeClassify, MachinesAndMagic)
{
    petest::Files files;
    EXPECT_EQ(Classify(files, Image(0x14C, 0x10B).Build()), (Classified{0, 0, 5, 0x80, L"PE"}));
    EXPECT_EQ(Classify(files, Image(0x8664, 0x20B).Build()), (Classified{0, 0, 6, 0x80, L"PE64"}));
    EXPECT_EQ(Classify(files, Image(0x8664, 0x10B).Build()), (Classified{0, 0, 5, 0x80, L"PE"}));
    EXPECT_EQ(Classify(files, Image(0x200, 0x20B).Build()), (Classified{0, 0, 7, 0x80, L"PEIA64"}));
    EXPECT_EQ(Classify(files, Image(0x1C4, 0x20B).Build()), (Classified{0, 0, 8, 0x80, L"PEARM"}));
    EXPECT_EQ(Classify(files, Image(0x1C4, 0x10B).Build()), (Classified{0, 0, 8, 0x80, L"PEARM"}));
    EXPECT_EQ(Classify(files, Image(0xAA64, 0x20B).Build()), (Classified{0, 0, 5, 0x80, L"PE"}));
    EXPECT_EQ(std::wstring(ExeFile::ClassName(9)), L"Invalid");
    EXPECT_EQ(std::wstring(ExeFile::ClassName(-1)), L"Invalid");
}

TEST(PeClassify, FilesThatCannotBeMapped)
{
    petest::Files files;
    const ExeFile empty(files.WriteW("empty.bin", {}).c_str());
    EXPECT_EQ(empty.GetStatus(), 2);
    EXPECT_EQ(empty.GetExeStatus(), 1);
    const ExeFile missing(petest::Files::Windows(files.dir() + "/absent.exe").c_str());
    EXPECT_EQ(missing.GetStatus(), 1);
    EXPECT_EQ(missing.GetExeStatus(), 1);
    EXPECT_EQ(missing.GetView(), nullptr);
}

TEST(PeClassify, NewHeaderAtTheEndOfTheFileEndsInAnException)
{
    petest::Files files;
    // An offset equal to the size passes the test of the offset; reading the
    // signature there leaves the view.
    EXPECT_THROW(ExeFile(files.WriteW("a.bin", petest::DosHeader(0x100, 0x100)).c_str()), qv::view_access_error);
    // Two bytes left: the word reads, the "PE" doubleword does not.
    EXPECT_THROW(ExeFile(files.WriteW("b.bin", petest::DosHeader(0xFE, 0x100)).c_str()), qv::view_access_error);
    // "PE\0\0" as the last four bytes: the machine word lies outside.
    Bytes pe = petest::DosHeader(0xFC, 0x100);
    Put32(pe, 0xFC, 0x4550);
    EXPECT_THROW(ExeFile(files.WriteW("c.bin", pe).c_str()), qv::view_access_error);
    // "NE" as the last two bytes is complete.
    Bytes ne = petest::DosHeader(0xFE, 0x100);
    Put16(ne, 0xFE, 0x454E);
    EXPECT_EQ(Classify(files, ne), (Classified{0, 0, 2, 0xFE, L"NE"}));
}

TEST(PeImageTest, HeadersOnlyForClassesFiveAndSix)
{
    petest::Files files;
    const PeImage ia64(files.WriteW("ia64.bin", Image(0x200, 0x20B).Build()).c_str());
    EXPECT_EQ(ia64.GetNtHeaders(), nullptr);
    EXPECT_EQ(ia64.GetExeStatus(), 2);
    EXPECT_EQ(ia64.GetExeClass(), ExeClassPeIa64);
    const PeImage arm(files.WriteW("arm.bin", Image(0x1C4, 0x10B).Build()).c_str());
    EXPECT_EQ(arm.GetNtHeaders(), nullptr);
    const PeImage ne(files.WriteW("ne.bin", WithSignature(0x454E)).c_str());
    EXPECT_EQ(ne.GetNtHeaders(), nullptr);
    EXPECT_EQ(ne.GetExeStatus(), 2);
    const PeImage pe(files.WriteW("pe.bin", Image(0x14C, 0x10B).Build()).c_str());
    EXPECT_EQ(pe.GetNtHeaders(), pe.GetView() + 0x80);
    EXPECT_EQ(pe.GetExeStatus(), 0);
    // Reading a header field through a null header ends in an exception.
    EXPECT_THROW(ne.GetDllCharacteristics(), qv::view_access_error);
    EXPECT_THROW(ne.GetDirectoryRva(1), qv::view_access_error);
}

TEST(PeImageTest, DirectoryLayoutFollowsTheClass)
{
    petest::Files files;
    // Class 5 reads its table 120 bytes from the headers, class 6 at 136;
    // a PE32+ image for another machine is class 5 and is read at 120.
    for (auto [machine, magic, at] : {std::tuple{0x14C, 0x10B, 120}, std::tuple{0x8664, 0x20B, 136},
                                      std::tuple{0xAA64, 0x20B, 120}}) {
        PeBuilder pe = Image(static_cast<uint16_t>(machine), static_cast<uint16_t>(magic));
        Bytes b = pe.Build();
        Put32(b, 0x80 + at + 8, 0x1234);   // entry 1, address
        Put32(b, 0x80 + at + 12, 0x56);    // entry 1, size
        const PeImage image(files.WriteW("d.bin", b).c_str());
        EXPECT_EQ(image.GetDirectoryRva(1), 0x1234u) << machine;
        EXPECT_EQ(image.GetDirectorySize(1), 0x56u) << machine;
        EXPECT_EQ(image.GetDirectoryRva(16), 0xFFFFFFFFu);
        EXPECT_EQ(image.GetDirectorySize(16), 0xFFFFFFFFu);
        EXPECT_EQ(image.GetDirectory(16), PeImage::BadDirectory());
        EXPECT_EQ(image.GetDirectory(0), nullptr);  // address 0
        EXPECT_EQ(image.GetDirectory(1), nullptr);  // no section holds it
    }
}

TEST(PeImageTest, SectionWalk)
{
    petest::Files files;
    PeBuilder pe;
    pe.sections = {{0x1000, 0x300, 0x200, 0x200},   // rva 0x1200-0x12FF lies beyond the raw data
                   {0x2000, 0x0, 0x200, 0x300},     // no virtual size: holds nothing
                   {0x3000, 0x100, 0x200, 0x300},   // raw data larger than the virtual size
                   {0x1000, 0x100, 0x100, 0x380}};  // same rva again: the first section wins
    const PeImage image(files.WriteW("s.bin", pe.Build()).c_str());
    EXPECT_EQ(image.RvaToFileOffset(0x1000), 0x200);
    EXPECT_EQ(image.RvaToFileOffset(0x11FF), 0x3FF);
    EXPECT_EQ(image.RvaToFileOffset(0x1200), -1);
    EXPECT_EQ(image.RvaToPointer(0x1250), nullptr);
    EXPECT_EQ(image.RvaToFileOffset(0x2000), -1);
    EXPECT_EQ(image.RvaToFileOffset(0x30FF), 0x3FF);
    EXPECT_EQ(image.RvaToFileOffset(0x3100), -1);
    EXPECT_EQ(image.RvaToFileOffset(0xFFF), -1);
    EXPECT_EQ(image.RvaToPointer(0x1010), image.GetView() + 0x210);

    PeBuilder none;
    const PeImage empty(files.WriteW("n.bin", none.Build()).c_str());
    EXPECT_EQ(empty.RvaToFileOffset(0), -1);
}

TEST(PeImageTest, OffsetsBeyondTheFileRaiseOnRead)
{
    petest::Files files;
    PeBuilder pe;
    pe.sections = {{0x1000, 0x1000, 0x1000, 0x7FFF0000}};
    pe.directories[1] = {0x1000, 0x28};
    const PeImage image(files.WriteW("far.bin", pe.Build()).c_str());
    const BYTE* directory = image.GetDirectory(1);
    ASSERT_NE(directory, nullptr);  // computed, not read
    EXPECT_FALSE(image.Contains(directory, 1));
    EXPECT_THROW(image.ReadDword(directory), qv::view_access_error);

    // A section table that runs past the end of the file.
    PeBuilder cut;
    cut.sections = {{0x1000, 0x100, 0x100, 0x200}};
    cut.size = 0x80 + 24 + 224 + 30;
    Bytes b = cut.Build();
    b.resize(cut.size);
    Put16(b, 0x80 + 6, 2);
    b.back() = 'x';
    const PeImage truncated(files.WriteW("cut.bin", b).c_str());
    EXPECT_EQ(truncated.RvaToFileOffset(0x1000), 0x200);  // the first header is whole
    EXPECT_THROW(truncated.RvaToFileOffset(0x5000), qv::view_access_error);
    // Narrow text must end inside the view.
    EXPECT_THROW(truncated.ReadNarrow(truncated.GetView() + truncated.GetSize() - 1), qv::view_access_error);
    EXPECT_EQ(truncated.ReadNarrow(truncated.GetView()), "MZ");
}

TEST(PeImageTest, ClrHeaderAndExports)
{
    petest::Files files;
    PeBuilder pe = Image(0x8664, 0x20B);
    pe.sections = {{0x1000, 0x200, 0x200, 0x200}};
    pe.directories[14] = {0x1000, 72};
    pe.directories[0] = {0x1100, 40};
    pe.size = 0x400;
    Bytes b = pe.Build();
    Put32(b, 0x200 + 8, 0x1048);    // metadata rva
    Put32(b, 0x200 + 12, 0x40);     // metadata size
    Put32(b, 0x200 + 16, 0x10);     // flags: native entry point, not IL only
    Put32(b, 0x248, 0x424A5342);    // BSJB
    Put32(b, 0x248 + 12, 12);
    petest::PutText(b, 0x248 + 16, "v4.0.30319");
    // Exports: two names, the second DllRegisterServer.
    Put32(b, 0x300 + 24, 2);
    Put32(b, 0x300 + 32, 0x1130);
    Put32(b, 0x330, 0x1140);
    Put32(b, 0x334, 0x1160);
    petest::PutText(b, 0x340, "DllGetClassObject");
    petest::PutText(b, 0x360, "DllRegisterServer");
    {
        const PeImage image(files.WriteW("clr.bin", b).c_str());
        EXPECT_TRUE(image.IsManaged());
        EXPECT_EQ(std::wstring(image.GetClrMetadataVersion().c_str()), L"v4.0.30319");
        EXPECT_TRUE(image.HasNativeEntryPoint());
        EXPECT_EQ(image.GetManagedClass(), ExeClassManagedPe64);
        EXPECT_TRUE(image.ExportsDllRegisterServer());
    }
    Put32(b, 0x200 + 16, 0x1);  // IL only
    petest::PutText(b, 0x360, "DllRegisterServeR");
    PeImage image(files.WriteW("clr2.bin", b).c_str());
    EXPECT_EQ(image.GetManagedClass(), ExeClassManagedIlOnly);
    EXPECT_FALSE(image.HasNativeEntryPoint());
    EXPECT_FALSE(image.ExportsDllRegisterServer());
    image.HideClrHeader(true);
    EXPECT_FALSE(image.IsManaged());
    EXPECT_EQ(image.GetManagedClass(), ExeClassPe64);
    EXPECT_EQ(image.GetClrMetadataVersion().size(), 0u);
}
