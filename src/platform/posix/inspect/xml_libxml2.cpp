// XmlDocument over libxml2: the file is read through the system layer (so a
// path in Windows form reaches its POSIX file), parsed from memory without
// network access and without a document type declaration, and queried with
// XPath 1.0 and the prefixes set by "SelectionNamespaces".
#include "inspect/xml_document.h"

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <string>
#include <utility>

#include "platform/posix/api/wide.h"

namespace qv {

namespace {

// Larger files are refused rather than read into memory.
constexpr DWORD kMaxDocumentSize = 64u * 1024u * 1024u;

struct DocHolder {
    explicit DocHolder(xmlDocPtr doc) : doc(doc) {}
    ~DocHolder() { xmlFreeDoc(doc); }
    DocHolder(const DocHolder&) = delete;
    DocHolder& operator=(const DocHolder&) = delete;
    xmlDocPtr doc;
};

std::wstring Widen(const xmlChar* text)
{
    return text ? qv::winapi::widen(reinterpret_cast<const char*>(text)) : std::wstring();
}

_stringx<> ToString(const std::wstring& text) { return _stringx<>(text.c_str(), text.size()); }

std::wstring QualifiedName(const xmlChar* prefix, const xmlChar* local)
{
    std::wstring name;
    if (prefix) {
        name = Widen(prefix);
        name += L':';
    }
    name += Widen(local);
    return name;
}

void IgnoreError(void*, xmlErrorPtr) {}

// A document type declaration stops the parse: no entity of any kind is
// expanded, and such a document does not load.
void RefuseInternalSubset(void* context, const xmlChar*, const xmlChar*, const xmlChar*)
{
    xmlStopParser(static_cast<xmlParserCtxtPtr>(context));
}

bool ReadWholeFile(const _stringx<>& path, std::string& bytes)
{
    HANDLE file = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING,
                              FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE)
        return false;
    DWORD high = 0;
    const DWORD size = GetFileSize(file, &high);
    bool ok = size != INVALID_FILE_SIZE && high == 0 && size <= kMaxDocumentSize;
    if (ok) {
        bytes.resize(size);
        DWORD done = 0;
        while (ok && done < size) {
            DWORD got = 0;
            ok = ReadFile(file, bytes.data() + done, size - done, &got, nullptr) && got != 0;
            done += got;
        }
    }
    CloseHandle(file);
    return ok;
}

// Parses "xmlns:p='uri' xmlns:q=\"uri\"" into (prefix, uri) pairs.
bool ParseNamespaces(const std::string& text, std::vector<std::pair<std::string, std::string>>& out)
{
    size_t at = 0;
    auto skipBlanks = [&] {
        while (at < text.size() && (text[at] == ' ' || text[at] == '\t' || text[at] == '\r' || text[at] == '\n'))
            ++at;
    };
    skipBlanks();
    while (at < text.size()) {
        if (text.compare(at, 6, "xmlns:") != 0)
            return false;
        at += 6;
        const size_t nameStart = at;
        while (at < text.size() && text[at] != '=' && text[at] != ' ')
            ++at;
        std::string prefix = text.substr(nameStart, at - nameStart);
        skipBlanks();
        if (prefix.empty() || at >= text.size() || text[at] != '=')
            return false;
        ++at;
        skipBlanks();
        if (at >= text.size() || (text[at] != '\'' && text[at] != '"'))
            return false;
        const char quote = text[at++];
        const size_t close = text.find(quote, at);
        if (close == std::string::npos)
            return false;
        out.emplace_back(std::move(prefix), text.substr(at, close - at));
        at = close + 1;
        skipBlanks();
    }
    return true;
}

}  // namespace

// A node: an element, attribute, text or comment node of the tree, or a
// namespace declaration of an element, which the DOM shows as an attribute.
struct XmlNode::Impl {
    std::shared_ptr<DocHolder> holder;
    xmlNodePtr node = nullptr;
    xmlNsPtr declaration = nullptr;  // set for a namespace declaration
};

struct XmlDocument::Impl {
    std::shared_ptr<DocHolder> holder;
    std::vector<std::pair<std::string, std::string>> namespaces;
};

namespace {

XmlNode MakeNode(const std::shared_ptr<DocHolder>& holder, xmlNodePtr node, xmlNsPtr declaration = nullptr)
{
    auto impl = std::make_shared<XmlNode::Impl>();
    impl->holder = holder;
    impl->node = node;
    impl->declaration = declaration;
    return XmlNode(std::move(impl));
}

bool IsElement(const XmlNode::Impl* impl) { return impl && !impl->declaration && impl->node->type == XML_ELEMENT_NODE; }

// The attribute, or namespace declaration, of element with this qualified
// name.
bool FindAttribute(const XmlNode::Impl* impl, const wchar_t* name, xmlAttrPtr& attribute, xmlNsPtr& declaration)
{
    attribute = nullptr;
    declaration = nullptr;
    const std::wstring wanted = name ? name : L"";
    for (xmlAttrPtr a = impl->node->properties; a; a = a->next) {
        if (QualifiedName(a->ns ? a->ns->prefix : nullptr, a->name) == wanted) {
            attribute = a;
            return true;
        }
    }
    for (xmlNsPtr ns = impl->node->nsDef; ns; ns = ns->next) {
        const std::wstring declared = ns->prefix ? L"xmlns:" + Widen(ns->prefix) : std::wstring(L"xmlns");
        if (declared == wanted) {
            declaration = ns;
            return true;
        }
    }
    return false;
}

std::wstring ContentOf(xmlNodePtr node)
{
    xmlChar* content = xmlNodeGetContent(node);
    std::wstring text = Widen(content);
    xmlFree(content);
    return text;
}

}  // namespace

HRESULT XmlNode::GetAttributeCount(long& count) const
{
    count = 0;
    if (!m_impl)
        return E_POINTER;
    if (!IsElement(m_impl.get()))
        return S_FALSE;
    for (xmlAttrPtr a = m_impl->node->properties; a; a = a->next)
        ++count;
    for (xmlNsPtr ns = m_impl->node->nsDef; ns; ns = ns->next)
        ++count;
    return S_OK;
}

HRESULT XmlNode::GetNamedItem(const wchar_t* name, XmlNode& item) const
{
    item = XmlNode();
    if (!m_impl)
        return E_POINTER;
    if (!IsElement(m_impl.get()))
        return S_FALSE;
    xmlAttrPtr attribute = nullptr;
    xmlNsPtr declaration = nullptr;
    if (!FindAttribute(m_impl.get(), name, attribute, declaration))
        return S_FALSE;
    item = attribute ? MakeNode(m_impl->holder, reinterpret_cast<xmlNodePtr>(attribute))
                     : MakeNode(m_impl->holder, m_impl->node, declaration);
    return S_OK;
}

HRESULT XmlNode::GetNodeValue(_stringx<>& value) const
{
    value = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    if (m_impl->declaration) {
        value = ToString(Widen(m_impl->declaration->href));
        return S_OK;
    }
    switch (m_impl->node->type) {
    case XML_ATTRIBUTE_NODE:
    case XML_TEXT_NODE:
    case XML_CDATA_SECTION_NODE:
    case XML_COMMENT_NODE:
    case XML_PI_NODE:
        value = ToString(ContentOf(m_impl->node));
        return S_OK;
    default:
        return S_FALSE;
    }
}

HRESULT XmlNode::GetText(_stringx<>& text) const
{
    text = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    if (m_impl->declaration) {
        text = ToString(Widen(m_impl->declaration->href));
        return S_OK;
    }
    xmlNodePtr node = m_impl->node;
    if (node->type == XML_DOCUMENT_NODE)
        node = xmlDocGetRootElement(m_impl->holder->doc);
    if (node)
        text = ToString(ContentOf(node));
    return S_OK;
}

HRESULT XmlNode::GetNodeName(_stringx<>& name) const
{
    name = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    if (m_impl->declaration) {
        const xmlNsPtr ns = m_impl->declaration;
        name = ToString(ns->prefix ? L"xmlns:" + Widen(ns->prefix) : std::wstring(L"xmlns"));
        return S_OK;
    }
    const xmlNodePtr node = m_impl->node;
    switch (node->type) {
    case XML_ELEMENT_NODE:
    case XML_ATTRIBUTE_NODE:
        name = ToString(QualifiedName(node->ns ? node->ns->prefix : nullptr, node->name));
        break;
    case XML_TEXT_NODE:
        name = L"#text";
        break;
    case XML_CDATA_SECTION_NODE:
        name = L"#cdata-section";
        break;
    case XML_COMMENT_NODE:
        name = L"#comment";
        break;
    case XML_DOCUMENT_NODE:
        name = L"#document";
        break;
    default:
        name = ToString(Widen(node->name));
        break;
    }
    return S_OK;
}

HRESULT XmlNode::GetChildNodes(std::vector<XmlNode>& children) const
{
    children.clear();
    if (!m_impl)
        return E_POINTER;
    if (m_impl->declaration)
        return S_OK;
    const xmlNodePtr node = m_impl->node;
    // An attribute's children are its text; the DOM shows that too.
    for (xmlNodePtr child = node->children; child; child = child->next) {
        switch (child->type) {
        case XML_ELEMENT_NODE:
        case XML_TEXT_NODE:
        case XML_CDATA_SECTION_NODE:
        case XML_COMMENT_NODE:
        case XML_PI_NODE:
            children.push_back(MakeNode(m_impl->holder, child));
            break;
        default:
            break;
        }
    }
    return S_OK;
}

HRESULT XmlNode::GetAttribute(const wchar_t* name, _stringx<>& value) const
{
    value = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    if (!IsElement(m_impl.get()))
        return E_NOINTERFACE;
    xmlAttrPtr attribute = nullptr;
    xmlNsPtr declaration = nullptr;
    if (!FindAttribute(m_impl.get(), name, attribute, declaration))
        return S_FALSE;
    value = ToString(attribute ? ContentOf(reinterpret_cast<xmlNodePtr>(attribute)) : Widen(declaration->href));
    return S_OK;
}

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;

HRESULT XmlDocument::Create(int& version)
{
    xmlInitParser();
    m_impl = std::make_unique<Impl>();
    version = 6;
    return S_OK;
}

bool XmlDocument::IsCreated() const noexcept { return m_impl != nullptr; }

void XmlDocument::Release() noexcept { m_impl.reset(); }

HRESULT XmlDocument::Load(const _stringx<>& path, bool& loaded)
{
    loaded = false;
    if (!m_impl)
        return E_POINTER;
    m_impl->holder.reset();
    std::string bytes;
    if (!ReadWholeFile(path, bytes) || bytes.empty())
        return S_FALSE;

    xmlParserCtxtPtr context = xmlNewParserCtxt();
    if (!context)
        return E_OUTOFMEMORY;
    context->sax->internalSubset = RefuseInternalSubset;
    xmlSetStructuredErrorFunc(nullptr, IgnoreError);
    xmlDocPtr doc = xmlCtxtReadMemory(context, bytes.data(), static_cast<int>(bytes.size()), nullptr, nullptr,
                                      XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING);
    const bool wellFormed = context->wellFormed && !context->disableSAX;
    xmlFreeParserCtxt(context);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    if (!doc)
        return S_FALSE;
    if (!wellFormed || doc->intSubset || !xmlDocGetRootElement(doc)) {
        xmlFreeDoc(doc);
        return S_FALSE;
    }
    m_impl->holder = std::make_shared<DocHolder>(doc);
    loaded = true;
    return S_OK;
}

HRESULT XmlDocument::SetProperty(const wchar_t* name, const wchar_t* value)
{
    if (!m_impl)
        return E_POINTER;
    const std::wstring property = name ? name : L"";
    const std::string text = qv::winapi::narrow(value ? value : L"");
    if (property == L"SelectionLanguage")
        return text == "XPath" ? S_OK : E_FAIL;
    if (property == L"SelectionNamespaces") {
        std::vector<std::pair<std::string, std::string>> parsed;
        if (!ParseNamespaces(text, parsed))
            return E_FAIL;
        m_impl->namespaces = std::move(parsed);
        return S_OK;
    }
    return E_INVALIDARG;
}

HRESULT XmlDocument::SelectNodes(const wchar_t* query, std::vector<XmlNode>& nodes)
{
    nodes.clear();
    if (!m_impl || !m_impl->holder)
        return E_FAIL;
    xmlXPathContextPtr context = xmlXPathNewContext(m_impl->holder->doc);
    if (!context)
        return E_OUTOFMEMORY;
    context->error = IgnoreError;
    for (const auto& [prefix, uri] : m_impl->namespaces)
        xmlXPathRegisterNs(context, reinterpret_cast<const xmlChar*>(prefix.c_str()),
                           reinterpret_cast<const xmlChar*>(uri.c_str()));
    const std::string expression = qv::winapi::narrow(query ? query : L"");
    xmlXPathObjectPtr result = xmlXPathEvalExpression(reinterpret_cast<const xmlChar*>(expression.c_str()), context);
    HRESULT hr = S_OK;
    if (!result || result->type != XPATH_NODESET) {
        // No expression, or one whose value is a number, text or boolean:
        // the DOM accepts only node-set queries.
        hr = E_FAIL;
    } else if (result->nodesetval) {
        for (int i = 0; i < result->nodesetval->nodeNr; ++i) {
            xmlNodePtr node = result->nodesetval->nodeTab[i];
            // Namespace nodes of a result are copies that die with it.
            if (node && node->type != XML_NAMESPACE_DECL)
                nodes.push_back(MakeNode(m_impl->holder, node));
        }
    }
    xmlXPathFreeObject(result);
    xmlXPathFreeContext(context);
    return hr;
}

HRESULT XmlDocument::SelectSingleNode(const wchar_t* query, XmlNode& node)
{
    node = XmlNode();
    std::vector<XmlNode> nodes;
    const HRESULT hr = SelectNodes(query, nodes);
    if (FAILED(hr))
        return hr;
    if (nodes.empty())
        return S_FALSE;
    node = nodes.front();
    return S_OK;
}

}  // namespace qv
