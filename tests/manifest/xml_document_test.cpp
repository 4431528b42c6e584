// The libxml2 back end of XmlDocument: what the readers of manifests,
// configuration files and the filter document rely on.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "inspect/xml_document.h"
#include "platform/posix/api/wide.h"

namespace {

std::wstring W(const _stringx<>& s) { return std::wstring(s.c_str(), s.size()); }

class XmlDocumentTest : public ::testing::Test {
protected:
    // Writes text to a file and loads it; returns what load said.
    bool LoadText(const std::string& text)
    {
        const auto path = std::filesystem::temp_directory_path() / ("qv_xml_" + std::to_string(::getpid()) + ".xml");
        std::ofstream(path, std::ios::binary) << text;
        int version = 0;
        EXPECT_EQ(S_OK, doc.Create(version));
        EXPECT_EQ(6, version);
        bool loaded = false;
        const HRESULT hr = doc.Load(_stringx<>(qv::winapi::widen(path.string()).c_str()), loaded);
        std::filesystem::remove(path);
        EXPECT_EQ(loaded ? S_OK : S_FALSE, hr);
        return loaded;
    }
    std::wstring Select(const wchar_t* query, const wchar_t* attribute)
    {
        std::vector<qv::XmlNode> nodes;
        EXPECT_EQ(S_OK, doc.SelectNodes(query, nodes));
        std::wstring joined;
        for (const auto& node : nodes)
            joined += W(qv::AttributeText(node, attribute)) + L";";
        return joined;
    }
    qv::XmlDocument doc;
};

const char kManifest[] =
    "\xEF\xBB\xBF<?xml version='1.0' encoding='UTF-8' standalone='yes'?>\n"
    "<assembly xmlns='urn:schemas-microsoft-com:asm.v1' manifestVersion='1.0'>\n"
    "  <trustInfo xmlns='urn:schemas-microsoft-com:asm.v3'>\n"
    "    <security><requestedPrivileges>\n"
    "      <requestedExecutionLevel level='asInvoker' uiAccess='false'/>\n"
    "    </requestedPrivileges></security>\n"
    "  </trustInfo>\n"
    "</assembly>\n";

TEST_F(XmlDocumentTest, NamespacesPrefixesAndLocalNames)
{
    ASSERT_TRUE(LoadText(kManifest));
    qv::XmlNode node;
    // Before the prefixes are declared a prefixed query does not compile.
    EXPECT_EQ(E_FAIL, doc.SelectSingleNode(L"/v1:assembly", node));
    EXPECT_EQ(S_OK, doc.SetProperty(L"SelectionNamespaces",
                                    L"xmlns:v1='urn:schemas-microsoft-com:asm.v1' "
                                    L"xmlns:v2='urn:schemas-microsoft-com:asm.v2' "
                                    L"xmlns:v3=\"urn:schemas-microsoft-com:asm.v3\""));
    EXPECT_EQ(S_OK, doc.SelectSingleNode(L"/v1:assembly/v3:trustInfo/v3:security", node));
    EXPECT_EQ(S_FALSE, doc.SelectSingleNode(L"/v1:assembly/v1:trustInfo", node));
    EXPECT_TRUE(node.IsNull());
    EXPECT_EQ(S_OK, doc.SetProperty(L"SelectionLanguage", L"XPath"));
    ASSERT_EQ(S_OK, doc.SelectSingleNode(L"//*[local-name() = 'requestedExecutionLevel']", node));
    _stringx<> text;
    EXPECT_EQ(S_OK, node.GetAttribute(L"level", text));
    EXPECT_EQ(L"asInvoker", W(text));
    EXPECT_EQ(S_FALSE, node.GetAttribute(L"Level", text));
    EXPECT_EQ(L"", W(text));
    EXPECT_EQ(S_OK, node.GetNodeName(text));
    EXPECT_EQ(L"requestedExecutionLevel", W(text));
    // The root's map holds its namespace declaration too.
    qv::XmlNode root, item;
    ASSERT_EQ(S_OK, doc.SelectSingleNode(L"/*", root));
    long count = 0;
    EXPECT_EQ(S_OK, root.GetAttributeCount(count));
    EXPECT_EQ(2, count);
    EXPECT_EQ(S_OK, root.GetNamedItem(L"xmlns", item));
    EXPECT_EQ(S_OK, item.GetNodeValue(text));
    EXPECT_EQ(L"urn:schemas-microsoft-com:asm.v1", W(text));
    EXPECT_EQ(S_FALSE, root.GetNodeValue(text));
    // Bad properties and queries fail rather than answer.
    EXPECT_EQ(E_FAIL, doc.SetProperty(L"SelectionLanguage", L"XSLPattern"));
    EXPECT_EQ(E_FAIL, doc.SetProperty(L"SelectionNamespaces", L"xmlns:v1=urn"));
    EXPECT_EQ(E_INVALIDARG, doc.SetProperty(L"NoSuchProperty", L"x"));
    EXPECT_EQ(E_FAIL, doc.SelectSingleNode(L"//*[", node));
    EXPECT_EQ(E_FAIL, doc.SelectSingleNode(L"count(//*)", node));
}

TEST_F(XmlDocumentTest, AttributeMapsChildrenAndValues)
{
    ASSERT_TRUE(LoadText("<Filters><Exclude>\n"
                         "  <File name='a.dll' path='[SystemFolder]'>\n"
                         "    <Use filekey='k1'/><!-- note --><Use/>\n"
                         "  </File>\n"
                         "  <Registry wrp='' key='HKEY_LOCAL_MACHINE\\Software'/>\n"
                         "  <File name='b.dll'>text &amp; more</File>\n"
                         "</Exclude></Filters>"));
    EXPECT_EQ(L"a.dll;b.dll;", Select(L"//Exclude/File", L"name"));
    EXPECT_EQ(L"[SystemFolder];;", Select(L"//Exclude/File", L"path"));
    std::vector<qv::XmlNode> files;
    ASSERT_EQ(S_OK, doc.SelectNodes(L"//Exclude/File", files));
    ASSERT_EQ(2u, files.size());
    std::vector<qv::XmlNode> children;
    ASSERT_EQ(S_OK, files[0].GetChildNodes(children));
    // Blank text between elements is dropped; the comment stays.
    std::wstring keys, names;
    for (const auto& child : children) {
        _stringx<> name;
        child.GetNodeName(name);
        names += W(name) + L",";
        keys += W(qv::AttributeText(child, L"filekey")) + L",";
    }
    EXPECT_EQ(L"Use,#comment,Use,", names);
    EXPECT_EQ(L"k1,,,", keys);
    long count = 7;
    EXPECT_EQ(S_FALSE, children[1].GetAttributeCount(count));
    EXPECT_EQ(0, count);
    _stringx<> text;
    EXPECT_EQ(S_OK, children[1].GetNodeValue(text));
    EXPECT_EQ(L" note ", W(text));
    EXPECT_EQ(E_NOINTERFACE, children[1].GetAttribute(L"x", text));
    EXPECT_EQ(S_OK, files[1].GetText(text));
    EXPECT_EQ(L"text & more", W(text));

    qv::XmlNode registry, wrp, key;
    ASSERT_EQ(S_OK, doc.SelectSingleNode(L"//Exclude/Registry", registry));
    EXPECT_EQ(S_OK, registry.GetNamedItem(L"wrp", wrp));
    EXPECT_EQ(S_OK, wrp.GetNodeValue(text));
    EXPECT_EQ(L"", W(text));
    EXPECT_EQ(S_FALSE, registry.GetNamedItem(L"WRP", wrp));
    EXPECT_TRUE(wrp.IsNull());
    ASSERT_EQ(S_OK, registry.GetNamedItem(L"key", key));
    EXPECT_EQ(S_OK, key.GetNodeValue(text));
    EXPECT_EQ(L"HKEY_LOCAL_MACHINE\\Software", W(text));
}

TEST_F(XmlDocumentTest, WhatDoesNotLoad)
{
    EXPECT_FALSE(LoadText("<a><b></a>"));
    EXPECT_FALSE(LoadText(""));
    EXPECT_FALSE(LoadText("just text"));
    EXPECT_FALSE(LoadText("<a/><b/>"));
    // A document type declaration, and so any entity, is refused.
    EXPECT_FALSE(LoadText("<!DOCTYPE a [<!ENTITY e 'x'>]><a>&e;</a>"));
    qv::XmlNode node;
    EXPECT_EQ(E_FAIL, doc.SelectSingleNode(L"/a", node));
    // UTF-16 with its byte order mark loads, and the text is decoded.
    EXPECT_TRUE(LoadText(std::string("\xFF\xFE<\0a\0 \0x\0=\0'\0\xE9\0'\0/\0>\0", 22)));
    ASSERT_EQ(S_OK, doc.SelectSingleNode(L"/a", node));
    _stringx<> text;
    EXPECT_EQ(S_OK, node.GetAttribute(L"x", text));
    EXPECT_EQ(L"\u00e9", W(text));
    // A missing file does not load.
    bool loaded = true;
    EXPECT_EQ(S_FALSE, doc.Load(L"/nonexistent/qv/none.xml", loaded));
    EXPECT_FALSE(loaded);
    qv::XmlDocument fresh;
    EXPECT_EQ(E_POINTER, fresh.Load(L"/tmp/x.xml", loaded));
}

}  // namespace
