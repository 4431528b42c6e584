// The resource walker and MsiGetFileVersionW over images with version
// resources from windres, and over resource trees written byte by byte.
#include "platform/posix/inspect/version_resource.h"

#include "pe_support.h"

using petest::Bytes;
using petest::MingwImages;
using petest::Put16;
using petest::Put32;
using qv::posix::ByteView;
using qv::posix::ResourceEntry;
using qv::posix::ResourceResult;

namespace {

struct VersionAnswer {
    UINT result;
    std::wstring version;
    std::wstring language;
    bool operator==(const VersionAnswer&) const = default;
};

std::ostream& operator<<(std::ostream& out, const VersionAnswer& a)
{
    return out << "{" << a.result << ", " << qv::posix::to_utf8(a.version) << ", " << qv::posix::to_utf8(a.language)
               << "}";
}

VersionAnswer GetVersion(const std::wstring& path)
{
    wchar_t version[64] = L"unset";
    wchar_t language[64] = L"unset";
    DWORD versionSize = 64, languageSize = 64;
    const UINT result = MsiGetFileVersionW(path.c_str(), version, &versionSize, language, &languageSize);
    return {result, version, language};
}

// A PE32 image whose resource tree (at rva 0x1000, file 0x200) holds one
// type and one integer name with the given languages; the data of
// language i is 16 bytes of the value i + 1 at file 0x400 + 0x40 * i.
Bytes ResourceImage(uint16_t type, uint16_t name, const std::vector<uint16_t>& languages)
{
    petest::PeBuilder pe;
    pe.sections = {{0x1000, 0x600, 0x600, 0x200}};
    pe.directories[2] = {0x1000, 0x600};
    pe.size = 0x800;
    Bytes b = pe.Build();
    const size_t base = 0x200;
    Put16(b, base + 14, 1);
    Put32(b, base + 16, type);
    Put32(b, base + 20, 0x80000018);
    Put16(b, base + 0x18 + 14, 1);
    Put32(b, base + 0x18 + 16, name);
    Put32(b, base + 0x18 + 20, 0x80000030);
    Put16(b, base + 0x30 + 14, static_cast<uint32_t>(languages.size()));
    for (size_t i = 0; i < languages.size(); ++i) {
        Put32(b, base + 0x30 + 16 + 8 * i, languages[i]);
        Put32(b, base + 0x30 + 20 + 8 * i, static_cast<uint32_t>(0x100 + 16 * i));
        Put32(b, base + 0x100 + 16 * i, static_cast<uint32_t>(0x1200 + 0x40 * i));  // data rva
        Put32(b, base + 0x100 + 16 * i + 4, 16);
        Put32(b, base + 0x100 + 16 * i + 8, 1252);
        std::fill(b.begin() + 0x400 + 0x40 * i, b.begin() + 0x410 + 0x40 * i, static_cast<uint8_t>(i + 1));
    }
    return b;
}

std::string Describe(ResourceResult result, const ResourceEntry& entry)
{
    if (result != ResourceResult::Found)
        return qv::posix::DescribeResourceResult(result);
    return "language " + std::to_string(entry.language) + " at " + std::to_string(entry.offset) + " size " +
           std::to_string(entry.size);
}

std::string Find(const Bytes& b, uint16_t type, uint16_t name, uint16_t language)
{
    ResourceEntry entry;
    return Describe(qv::posix::FindResource(ByteView{b.data(), b.size()}, type, name, language, entry), entry);
}

}  // namespace

TEST(FileVersion, ImagesFromWindres)
{
    const MingwImages& images = MingwImages::Get();
    EXPECT_EQ(GetVersion(petest::Files::Windows(images.app32())), (VersionAnswer{0, L"1.2.3.4", L"1033"}));
    EXPECT_EQ(GetVersion(petest::Files::Windows(images.app64())), (VersionAnswer{0, L"10.0.19041.1", L"1031,1033"}));
}

TEST(FileVersion, BufferRules)
{
    const std::wstring path = petest::Files::Windows(MingwImages::Get().app64());
    wchar_t small[6];
    DWORD size = 6;
    EXPECT_EQ(MsiGetFileVersionW(path.c_str(), small, &size, nullptr, nullptr), ERROR_MORE_DATA);
    EXPECT_EQ(size, 12u);
    EXPECT_EQ(std::wstring(small), L"10.0.");
    // Without a buffer the length alone.
    size = 0;
    DWORD languageSize = 0;
    EXPECT_EQ(MsiGetFileVersionW(path.c_str(), nullptr, &size, nullptr, &languageSize), ERROR_SUCCESS);
    EXPECT_EQ(size, 12u);
    EXPECT_EQ(languageSize, 9u);
    // A language buffer that is too small after a version that fits.
    wchar_t version[16];
    wchar_t language[4];
    size = 16;
    languageSize = 4;
    EXPECT_EQ(MsiGetFileVersionW(path.c_str(), version, &size, language, &languageSize), ERROR_MORE_DATA);
    EXPECT_EQ(std::wstring(version), L"10.0.19041.1");
    EXPECT_EQ(std::wstring(language), L"103");
    EXPECT_EQ(MsiGetFileVersionW(path.c_str(), version, nullptr, nullptr, nullptr), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(MsiGetFileVersionW(nullptr, version, &size, nullptr, nullptr), ERROR_INVALID_PARAMETER);
}

TEST(FileVersion, FilesWithoutAVersion)
{
    petest::Files files;
    petest::PeBuilder plain;
    Bytes other = ResourceImage(16, 2, {0});  // a version resource, but not name 1
    Bytes dos = petest::DosHeader(0, 0x40);
    const VersionAnswer invalid{ERROR_FILE_INVALID, L"unset", L"unset"};
    EXPECT_EQ(GetVersion(files.WriteW("plain.exe", plain.Build())), invalid);
    EXPECT_EQ(GetVersion(files.WriteW("other.exe", other)), invalid);
    EXPECT_EQ(GetVersion(files.WriteW("dos.exe", dos)), invalid);
    EXPECT_EQ(GetVersion(files.WriteW("empty.exe", {})), invalid);
    EXPECT_EQ(GetVersion(petest::Files::Windows(files.dir() + "/absent.exe")),
              (VersionAnswer{ERROR_FILE_NOT_FOUND, L"unset", L"unset"}));
    // Resource data that is not a version tree.
    Bytes junk = ResourceImage(16, 1, {1033});
    EXPECT_EQ(GetVersion(files.WriteW("junk.exe", junk)), invalid);
}

TEST(Resources, LanguageChoice)
{
    const Bytes b = ResourceImage(24, 1, {0x0407, 0x0409, 0x040C});
    EXPECT_EQ(Find(b, 24, 1, 0x040C), "language 1036 at 1152 size 16");  // asked for
    EXPECT_EQ(Find(b, 24, 1, 0x0411), "language 1033 at 1088 size 16");  // the default language
    const Bytes neutral = ResourceImage(24, 1, {0x0000, 0x0409});
    EXPECT_EQ(Find(neutral, 24, 1, 0x0411), "language 0 at 1024 size 16");
    const Bytes none = ResourceImage(24, 1, {0x0411, 0x0407});
    EXPECT_EQ(Find(none, 24, 1, 0x0C0A), "language 1041 at 1024 size 16");  // the first listed
    EXPECT_EQ(Find(b, 24, 2, 0), "no such resource");
    EXPECT_EQ(Find(b, 16, 1, 0), "no such resource");
    petest::PeBuilder plain;
    EXPECT_EQ(Find(plain.Build(), 24, 1, 0), "no resource directory");
    EXPECT_EQ(Find(Bytes(0x40, 'M'), 24, 1, 0), "not a PE image");
}

TEST(Resources, DamagedTreesFailWithAReason)
{
    const Bytes good = ResourceImage(24, 1, {0x0409});
    const std::string malformed = "resource tree outside the image";
    Bytes b = good;
    Put32(b, 0x200 + 0x100, 0x7FFFF000);  // data rva in no section
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    b = good;
    Put32(b, 0x200 + 0x100 + 4, 0x1000);  // data size past the end of the section
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    b = good;
    Put16(b, 0x200 + 0x30 + 14, 0xFFFF);  // more language entries than bytes
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    b = good;
    Put32(b, 0x200 + 20, 0x8FFFFFF0);  // name directory far outside
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    b = good;
    Put32(b, 0x200 + 0x30 + 20, 0x80000000);  // a fourth level
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    b = good;
    b.resize(0x200 + 0x20);  // cut inside the tree
    EXPECT_EQ(Find(b, 24, 1, 0), malformed);
    // Every prefix of a real image fails cleanly or succeeds.
    const Bytes real = petest::ReadAll(MingwImages::Get().app32());
    for (size_t cut = 0; cut < real.size(); cut += 97) {
        qv::posix::FileVersionInfo info;
        qv::posix::ReadFileVersion(ByteView{real.data(), cut}, info);
    }
}

TEST(Resources, ManifestsOfARealImage)
{
    const Bytes b = petest::ReadAll(MingwImages::Get().app32());
    std::vector<ResourceEntry> entries;
    ASSERT_EQ(qv::posix::ListResources(ByteView{b.data(), b.size()}, 24, entries), ResourceResult::Found);
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].nameId, 1);
    EXPECT_EQ(entries[0].language, 0x0407);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(b.data() + entries[0].offset), entries[0].size),
              MingwImages::kManifest);
    EXPECT_EQ(qv::posix::ListResources(ByteView{b.data(), b.size()}, 23, entries), ResourceResult::NotFound);
    EXPECT_TRUE(entries.empty());
}
