// Placeholders, catalogue loading and the export registry.
#include <gtest/gtest.h>

#include <set>
#include <string>

#include "framework/check_base.h"
#include "framework/library.h"
#include "framework/registry.h"

namespace {

std::wstring Fill(const wchar_t* text, std::initializer_list<const wchar_t*> args)
{
    std::vector<_stringx<>> storage;
    storage.reserve(args.size());
    std::vector<const _stringx<>*> pointers;
    for (const wchar_t* a : args) {
        if (a) {
            storage.emplace_back(a);
            pointers.push_back(&storage.back());
        } else {
            pointers.push_back(nullptr);
        }
    }
    _stringx<> result(text);
    FillPlaceholders(result, pointers.data(), static_cast<UINT>(pointers.size()));
    return result.str();
}

TEST(FillPlaceholders, DigitsAndLettersSelectArguments)
{
    EXPECT_EQ(Fill(L"%1 and %2", {L"one", L"two"}), L"one and two");
    EXPECT_EQ(Fill(L"%2%1%2", {L"a", L"b"}), L"bab");
    EXPECT_EQ(Fill(L"[%9]", {L"1", L"2", L"3", L"4", L"5", L"6", L"7", L"8", L"nine"}), L"[nine]");
    // %A is the tenth argument, %Z the thirty-fifth.
    std::vector<std::wstring> many;
    for (int i = 0; i < 35; ++i)
        many.push_back(L"a" + std::to_wstring(i));
    std::vector<_stringx<>> storage(many.begin(), many.end());
    std::vector<const _stringx<>*> pointers;
    for (auto& s : storage)
        pointers.push_back(&s);
    _stringx<> text(L"%A %Z %B");
    FillPlaceholders(text, pointers.data(), 35);
    EXPECT_EQ(text, L"a9 a34 a10");
}

TEST(FillPlaceholders, MissingAndNullArguments)
{
    EXPECT_EQ(Fill(L"%1 %2 %3", {L"x", L"y"}), L"x y ?");
    EXPECT_EQ(Fill(L"%A", {L"x"}), L"?");
    EXPECT_EQ(Fill(L"<%1>", {nullptr}), L"<>");
    EXPECT_EQ(Fill(L"%1", {}), L"?");
    // %0 names no argument.
    EXPECT_EQ(Fill(L"%0", {L"x"}), L"?");
}

TEST(FillPlaceholders, OtherPercentSignsStay)
{
    EXPECT_EQ(Fill(L"100%% sure %1", {L"x"}), L"100%% sure x");
    EXPECT_EQ(Fill(L"%%1", {L"x"}), L"%x");
    EXPECT_EQ(Fill(L"50%off %s % 1 %", {L"x"}), L"50%off %s % 1 %");
    EXPECT_EQ(Fill(L"", {L"x"}), L"");
    // The argument's own text is not scanned again.
    EXPECT_EQ(Fill(L"%1-%2", {L"%2", L"b"}), L"%2-b");
}

TEST(Catalogue, EntriesLoadExactly)
{
    _stringx<> text;
    EXPECT_TRUE(LoadCatalogueString(text, QvLibraryModule(), 124));
    EXPECT_EQ(text, L"An unexpected exception occurred in running %1. %2:  %3");
    EXPECT_TRUE(LoadCatalogueString(text, QvLibraryModule(), 147));
    EXPECT_EQ(text, L"The Title of Dialog %1 does not include '%2' or '[\\[]ProductName[\\]]'");
    EXPECT_TRUE(LoadCatalogueString(text, QvLibraryModule(), 103));
    EXPECT_TRUE(LoadCatalogueString(text, QvLibraryModule(), 301));
    EXPECT_FALSE(LoadCatalogueString(text, QvLibraryModule(), 261));
    EXPECT_EQ(text, L"");
    EXPECT_FALSE(LoadCatalogueString(text, QvLibraryModule(), 102));
    EXPECT_FALSE(LoadCatalogueString(text, QvLibraryModule(), 302));
}

TEST(Catalogue, LongTextsAreNotCut)
{
    // Around the first buffer of 512 characters and the steps of 256.
    static std::wstring texts[5];
    static QvStringResource table[5];
    const size_t lengths[] = {509, 510, 511, 766, 2000};
    for (int i = 0; i < 5; ++i) {
        texts[i].clear();
        for (size_t k = 0; k < lengths[i]; ++k)
            texts[i] += static_cast<wchar_t>(L'a' + (k * 7 + i) % 26);
        table[i] = {static_cast<UINT>(1 + i), texts[i].c_str()};
    }
    HMODULE module = reinterpret_cast<HMODULE>(static_cast<uintptr_t>(0x7E570000));
    QvRegisterStringTable(module, table, 5);
    for (int i = 0; i < 5; ++i) {
        _stringx<> text;
        EXPECT_TRUE(LoadCatalogueString(text, module, static_cast<UINT>(1 + i)));
        EXPECT_EQ(text.size(), lengths[i]);
        EXPECT_EQ(text.str(), texts[i]);
    }
}

TEST(Registry, EightyFiveExportsWithTheirFamiliesAndDescriptions)
{
    const auto exports = qv::AllExports();
    ASSERT_EQ(exports.size(), 85u);
    std::map<std::string, int> families;
    std::set<std::wstring> names;
    std::set<qv::CheckEntry> entries;
    for (const auto& e : exports) {
        families[e.family]++;
        names.insert(e.name);
        entries.insert(e.entry);
        EXPECT_EQ(qv::FindExport(e.name), &e);
        _stringx<> description;
        EXPECT_TRUE(LoadCatalogueString(description, QvLibraryModule(), e.descriptionId)) << e.className;
    }
    EXPECT_EQ(names.size(), 85u);
    EXPECT_EQ(entries.size(), 85u);
    EXPECT_EQ(families, (std::map<std::string, int>{{"bp", 20}, {"ice", 26}, {"vice", 19}, {"uwp", 20}}));
    EXPECT_EQ(qv::FindExport(L"qvbp01"), nullptr);
    EXPECT_EQ(qv::FindExport(L"QVBP21"), nullptr);

    const auto* forward = qv::FindExport(L"QVICE14");
    ASSERT_NE(forward, nullptr);
    EXPECT_STREQ(forward->className, "CQVBP18");
    EXPECT_EQ(forward->descriptionId, 134u);
    const auto* shared = qv::FindExport(L"QVUWP14");
    ASSERT_NE(shared, nullptr);
    EXPECT_STREQ(shared->className, "CQVAppx14");
    EXPECT_EQ(shared->descriptionId, 240u);
    const auto* last = qv::FindExport(L"QVVICE19");
    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->descriptionId, 262u);
}

}  // namespace
