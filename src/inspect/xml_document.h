// XmlDocument and XmlNode: the XML layer that reads manifests, configuration
// files and the filter document. One class, two back ends: the system's
// DOM document object through COM on Windows
// (src/platform/win32/inspect/xml_msxml.cpp), libxml2 with XPath 1.0 on POSIX
// (src/platform/posix/inspect/xml_libxml2.cpp).
//
// Every operation returns the HRESULT of the DOM call it stands for, so that a
// caller can treat a failure as the DOM object would make it treat it: S_OK,
// S_FALSE for "nothing there" where the DOM says so, a failure code otherwise.
// Nothing here throws on bad input.
#pragma once

#include <memory>
#include <vector>

#include "foundation/stringx.h"
#include "platform/platform.h"

namespace qv {

class XmlDocument;

// One node of a loaded document: an element, an attribute, a text, a comment,
// or the document itself. A node keeps what it points into alive, so it may
// outlive the XmlDocument that gave it. A default node is null.
class XmlNode {
public:
    struct Impl;  // per back end

    XmlNode() = default;
    explicit XmlNode(std::shared_ptr<Impl> impl) : m_impl(std::move(impl)) {}

    bool IsNull() const noexcept { return !m_impl; }
    explicit operator bool() const noexcept { return m_impl != nullptr; }

    // The length of the attribute map. A node without a map (text, comment,
    // document) gives S_FALSE and 0. Namespace declarations count as
    // attributes, as in the DOM.
    HRESULT GetAttributeCount(long& count) const;
    // The named item of the attribute map, by qualified name ("wrp",
    // "xmlns:v1"): S_OK and the attribute node, or S_FALSE and a null node.
    HRESULT GetNamedItem(const wchar_t* name, XmlNode& item) const;
    // The nodeValue: the value of an attribute, the content of a text,
    // comment or processing instruction; S_FALSE and empty for an element or
    // the document, whose value is null.
    HRESULT GetNodeValue(_stringx<>& value) const;
    // The text of the node and all below it.
    HRESULT GetText(_stringx<>& text) const;
    // The qualified name ("assemblyIdentity", "v1:trustInfo", "#text").
    HRESULT GetNodeName(_stringx<>& name) const;
    // The child nodes in document order (elements, texts, comments).
    HRESULT GetChildNodes(std::vector<XmlNode>& children) const;
    // getAttribute of the element interface: S_OK and the value, S_FALSE and
    // empty when the attribute is missing (a null variant), E_NOINTERFACE
    // when the node is no element.
    HRESULT GetAttribute(const wchar_t* name, _stringx<>& value) const;

    const std::shared_ptr<Impl>& Handle() const noexcept { return m_impl; }

private:
    std::shared_ptr<Impl> m_impl;
};

// The one helper that every attribute read of the filter document goes
// through: attribute map, named item, its text. Empty when the node has no
// map, the attribute is missing, or a call fails.
_stringx<> AttributeText(const XmlNode& node, const wchar_t* name);

class XmlDocument {
public:
    struct Impl;  // per back end

    XmlDocument();
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // The document factory: tries the DOM classes of versions 6, 4 and 3 in
    // this order and keeps the first that comes up. S_OK with the version
    // told, or the failure of the last class tried. The POSIX back end always
    // tells 6.
    HRESULT Create(int& version);
    bool IsCreated() const noexcept;
    // Drops the document object; Create may be called again.
    void Release() noexcept;

    // load on a file path: S_OK with loaded true when the file is
    // well-formed XML, S_FALSE with loaded false when it is not or cannot be
    // read; a failure code when no document was created. A document with a
    // document type declaration does not load (the version 6 default).
    HRESULT Load(const _stringx<>& path, bool& loaded);

    // setProperty with a text value. "SelectionLanguage" accepts "XPath";
    // "SelectionNamespaces" takes declarations such as
    // "xmlns:v1='urn:schemas-microsoft-com:asm.v1' xmlns:v2='...'", whose
    // prefixes the queries may then use. Anything else fails.
    HRESULT SetProperty(const wchar_t* name, const wchar_t* value);

    // XPath 1.0 over the loaded document. SelectNodes gives the nodes in
    // document order; SelectSingleNode gives the first, or S_FALSE and a null
    // node. A query that does not compile, or uses an unknown prefix, fails.
    HRESULT SelectNodes(const wchar_t* query, std::vector<XmlNode>& nodes);
    HRESULT SelectSingleNode(const wchar_t* query, XmlNode& node);

private:
    std::unique_ptr<Impl> m_impl;
};

}  // namespace qv
