// BSTR memory, apartments, the thread's error object and ProgIDs.

#include <gtest/gtest.h>

#include <thread>

#include "platform/platform.h"

namespace {

TEST(Bstr, LengthPrefixTerminatorAndLiveCount) {
    const size_t before = QvLiveBstrCount();
    BSTR text = SysAllocString(L"abc");
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(QvLiveBstrCount(), before + 1);
    EXPECT_EQ(SysStringLen(text), 3u);
    EXPECT_EQ(SysStringByteLen(text), 3 * sizeof(wchar_t));
    EXPECT_EQ(reinterpret_cast<const uint32_t*>(text)[-1], 3 * sizeof(wchar_t));
    EXPECT_EQ(text[3], L'\0');

    BSTR blank = SysAllocStringLen(nullptr, 5);
    EXPECT_EQ(SysStringLen(blank), 5u);
    EXPECT_EQ(std::wstring(blank, 6), std::wstring(6, L'\0'));
    BSTR cut = SysAllocStringLen(L"abcdef", 3);
    EXPECT_EQ(std::wstring(cut), L"abc");
    BSTR bytes = SysAllocStringByteLen("abcd", 4);
    EXPECT_EQ(SysStringByteLen(bytes), 4u);
    EXPECT_EQ(SysStringLen(bytes), 4 / sizeof(wchar_t));
    EXPECT_EQ(QvLiveBstrCount(), before + 4);

    SysFreeString(text);
    SysFreeString(blank);
    SysFreeString(cut);
    SysFreeString(bytes);
    EXPECT_EQ(QvLiveBstrCount(), before);

    EXPECT_EQ(SysAllocString(nullptr), nullptr);
    EXPECT_EQ(SysStringLen(nullptr), 0u);
    SysFreeString(nullptr);
    EXPECT_EQ(QvLiveBstrCount(), before);
}

TEST(Bstr, ReallocationMayReadFromTheOldText) {
    const size_t before = QvLiveBstrCount();
    BSTR text = SysAllocString(L"hello");
    ASSERT_TRUE(SysReAllocStringLen(&text, text + 1, 3));
    EXPECT_EQ(std::wstring(text), L"ell");
    EXPECT_EQ(SysStringLen(text), 3u);
    ASSERT_TRUE(SysReAllocString(&text, L"a longer text"));
    EXPECT_EQ(SysStringLen(text), 13u);
    EXPECT_EQ(std::wstring(text), L"a longer text");
    ASSERT_TRUE(SysReAllocStringLen(&text, nullptr, 2));
    EXPECT_EQ(SysStringLen(text), 2u);
    EXPECT_EQ(QvLiveBstrCount(), before + 1);
    SysFreeString(text);

    BSTR empty = nullptr;
    ASSERT_TRUE(SysReAllocString(&empty, L"x"));
    EXPECT_EQ(std::wstring(empty), L"x");
    SysFreeString(empty);
    EXPECT_EQ(QvLiveBstrCount(), before);
}

TEST(BstrDeathTest, FreeingMemoryFromAnotherAllocatorStops) {
    std::vector<wchar_t> plain(16, L'x');
    EXPECT_DEATH(SysFreeString(plain.data() + 4), "is not a BSTR");
}

TEST(Apartment, EntriesCountAndTheModelIsFixed) {
    std::thread([] {
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE), S_FALSE);
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        CoUninitialize();
        CoUninitialize();
        EXPECT_EQ(CoInitializeEx(nullptr, COINIT_MULTITHREADED), S_OK);
        CoUninitialize();
    }).join();
    std::thread([] { EXPECT_EQ(CoInitialize(nullptr), S_OK); }).join();  // a new thread starts outside
}

ICreateErrorInfo* make_error(const wchar_t* description) {
    ICreateErrorInfo* create = nullptr;
    EXPECT_EQ(CreateErrorInfo(&create), S_OK);
    create->SetDescription(const_cast<LPOLESTR>(description));
    return create;
}

void publish(ICreateErrorInfo* create) {
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    EXPECT_EQ(SetErrorInfo(0, info), S_OK);
    info->Release();
    create->Release();
}

std::wstring take_description() {
    IErrorInfo* info = nullptr;
    HRESULT hr = GetErrorInfo(0, &info);
    if (hr != S_OK) return hr == S_FALSE && !info ? L"(none)" : L"(bad)";
    BSTR text = nullptr;
    EXPECT_EQ(info->GetDescription(&text), S_OK);
    std::wstring out = text ? text : L"(null)";
    SysFreeString(text);
    info->Release();
    return out;
}

TEST(ErrorObject, CarriesItsFieldsAndCountsReferences) {
    const size_t objects = QvLiveErrorInfoCount();
    const size_t strings = QvLiveBstrCount();
    ICreateErrorInfo* create = make_error(L"Composed text");
    const GUID guid = {0x12345678, 0x9ABC, 0xDEF0, {1, 2, 3, 4, 5, 6, 7, 8}};
    EXPECT_EQ(create->SetGUID(guid), S_OK);
    EXPECT_EQ(create->SetSource(const_cast<LPOLESTR>(L"Qv.Source")), S_OK);
    EXPECT_EQ(create->SetHelpContext(42), S_OK);
    IErrorInfo* info = nullptr;
    ASSERT_EQ(create->QueryInterface(IID_IErrorInfo, reinterpret_cast<void**>(&info)), S_OK);
    void* other = reinterpret_cast<void*>(1);
    const IID unknown_iid = {1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}};
    EXPECT_EQ(info->QueryInterface(unknown_iid, &other), E_NOINTERFACE);
    EXPECT_EQ(other, nullptr);
    GUID read_guid;
    EXPECT_EQ(info->GetGUID(&read_guid), S_OK);
    EXPECT_TRUE(IsEqualGUID(read_guid, guid));
    BSTR source = nullptr, help = reinterpret_cast<BSTR>(1);
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(std::wstring(source), L"Qv.Source");
    EXPECT_EQ(info->GetHelpFile(&help), S_OK);
    EXPECT_EQ(help, nullptr);  // never set
    DWORD context = 0;
    EXPECT_EQ(info->GetHelpContext(&context), S_OK);
    EXPECT_EQ(context, 42u);
    SysFreeString(source);
    EXPECT_EQ(QvLiveErrorInfoCount(), objects + 1);
    EXPECT_EQ(create->Release(), 1u);
    EXPECT_EQ(info->Release(), 0u);
    EXPECT_EQ(QvLiveErrorInfoCount(), objects);
    EXPECT_EQ(QvLiveBstrCount(), strings);
}

TEST(ErrorObject, IsPerThreadAndGetHandsItOver) {
    const size_t objects = QvLiveErrorInfoCount();
    publish(make_error(L"main thread"));
    EXPECT_EQ(QvLiveErrorInfoCount(), objects + 1);  // held by the thread's slot
    std::wstring seen_elsewhere;
    std::thread([&] {
        seen_elsewhere = take_description();
        publish(make_error(L"left behind"));  // released when the thread ends
    }).join();
    EXPECT_EQ(seen_elsewhere, L"(none)");
    EXPECT_EQ(QvLiveErrorInfoCount(), objects + 1);
    EXPECT_EQ(take_description(), L"main thread");
    EXPECT_EQ(take_description(), L"(none)");
    EXPECT_EQ(QvLiveErrorInfoCount(), objects);

    publish(make_error(L"first"));
    publish(make_error(L"second"));  // replaces and releases the first
    EXPECT_EQ(QvLiveErrorInfoCount(), objects + 1);
    EXPECT_EQ(SetErrorInfo(0, nullptr), S_OK);
    EXPECT_EQ(QvLiveErrorInfoCount(), objects);
    IErrorInfo* info = nullptr;
    EXPECT_EQ(GetErrorInfo(1, &info), E_INVALIDARG);
    EXPECT_EQ(SetErrorInfo(1, nullptr), E_INVALIDARG);
}

TEST(ProgId, UnknownNamesFailAndRegisteredOnesIgnoreCase) {
    CLSID clsid = {1, 1, 1, {1, 1, 1, 1, 1, 1, 1, 1}};
    EXPECT_EQ(CLSIDFromProgID(L"Unknown.Class.1", &clsid), CO_E_CLASSSTRING);
    EXPECT_TRUE(IsEqualCLSID(clsid, GUID_NULL));
    const CLSID registered = {0xAABBCCDD, 0x1122, 0x3344, {5, 6, 7, 8, 9, 10, 11, 12}};
    QvRegisterProgID(L"Qv.Test.1", registered);
    EXPECT_EQ(CLSIDFromProgID(L"QV.TEST.1", &clsid), S_OK);
    EXPECT_TRUE(IsEqualCLSID(clsid, registered));
    EXPECT_EQ(CLSIDFromProgID(L"Qv.Test", &clsid), CO_E_CLASSSTRING);
    EXPECT_EQ(CLSIDFromProgID(nullptr, &clsid), E_INVALIDARG);
}

}  // namespace
