// XmlDocument over the system's DOM document object through COM: the
// factory tries the classes of versions 6, 4 and 3 with IXMLDOMDocument2,
// and every operation is the DOM call of the same name.
#include "inspect/xml_document.h"

#include <msxml2.h>

namespace qv {

namespace {

// {88D96A05-F192-11D4-A65F-0040963251E5}
const CLSID kDomDocument60 = {0x88D96A05, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
// {88D969C0-F192-11D4-A65F-0040963251E5}
const CLSID kDomDocument40 = {0x88D969C0, 0xF192, 0x11D4, {0xA6, 0x5F, 0x00, 0x40, 0x96, 0x32, 0x51, 0xE5}};
// {F5078F32-C551-11D3-89B9-0000F81FE221}
const CLSID kDomDocument30 = {0xF5078F32, 0xC551, 0x11D3, {0x89, 0xB9, 0x00, 0x00, 0xF8, 0x1F, 0xE2, 0x21}};
// {2933BF95-7B36-11D2-B20E-00C04F983E60}
const IID kIXMLDOMDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};
// {2933BF86-7B36-11D2-B20E-00C04F983E60}
const IID kIXMLDOMElement = {0x2933BF86, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

// Releases an interface pointer on leaving.
template <typename T>
class Ref {
public:
    Ref() = default;
    ~Ref()
    {
        if (m_p)
            m_p->Release();
    }
    Ref(const Ref&) = delete;
    Ref& operator=(const Ref&) = delete;
    T** operator&() noexcept { return &m_p; }
    T* operator->() const noexcept { return m_p; }
    T* get() const noexcept { return m_p; }
    T* detach() noexcept
    {
        T* p = m_p;
        m_p = nullptr;
        return p;
    }

private:
    T* m_p = nullptr;
};

// A BSTR that frees itself.
class Bstr {
public:
    explicit Bstr(const wchar_t* text) : m_b(SysAllocString(text ? text : L"")) {}
    Bstr() = default;
    ~Bstr() { SysFreeString(m_b); }
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    BSTR get() const noexcept { return m_b; }
    BSTR* out() noexcept { return &m_b; }
    _stringx<> text() const { return m_b ? _stringx<>(m_b, SysStringLen(m_b)) : _stringx<>(); }

private:
    BSTR m_b = nullptr;
};

// The text of a variant: a null or empty variant gives the empty text.
HRESULT VariantText(VARIANT& value, _stringx<>& text, bool& isNull)
{
    text = _stringx<>();
    isNull = value.vt == VT_NULL || value.vt == VT_EMPTY;
    if (isNull)
        return S_OK;
    if (value.vt != VT_BSTR) {
        const HRESULT hr = VariantChangeType(&value, &value, 0, VT_BSTR);
        if (FAILED(hr))
            return hr;
    }
    if (value.bstrVal)
        text = _stringx<>(value.bstrVal, SysStringLen(value.bstrVal));
    return S_OK;
}

}  // namespace

struct XmlNode::Impl {
    explicit Impl(IXMLDOMNode* node) : node(node) {}
    ~Impl()
    {
        if (node)
            node->Release();
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;
    IXMLDOMNode* node;
};

struct XmlDocument::Impl {
    ~Impl()
    {
        if (document)
            document->Release();
    }
    IXMLDOMDocument2* document = nullptr;
};

namespace {

// Takes over the reference that node holds.
XmlNode Adopt(IXMLDOMNode* node) { return node ? XmlNode(std::make_shared<XmlNode::Impl>(node)) : XmlNode(); }

// Appends the nodes of a list (none for a null list) in its order.
HRESULT AppendNodes(IXMLDOMNodeList* list, std::vector<XmlNode>& nodes)
{
    if (!list)
        return S_OK;
    long length = 0;
    HRESULT hr = list->get_length(&length);
    if (FAILED(hr))
        return hr;
    for (long i = 0; i < length; ++i) {
        IXMLDOMNode* node = nullptr;
        hr = list->get_item(i, &node);
        if (FAILED(hr))
            return hr;
        if (node)
            nodes.push_back(Adopt(node));
    }
    return S_OK;
}

HRESULT Attributes(const std::shared_ptr<XmlNode::Impl>& impl, IXMLDOMNamedNodeMap** map)
{
    *map = nullptr;
    if (!impl)
        return E_POINTER;
    return impl->node->get_attributes(map);
}

}  // namespace

HRESULT XmlNode::GetAttributeCount(long& count) const
{
    count = 0;
    Ref<IXMLDOMNamedNodeMap> map;
    HRESULT hr = Attributes(m_impl, &map);
    if (FAILED(hr))
        return hr;
    if (!map.get())
        return S_FALSE;
    return map->get_length(&count);
}

HRESULT XmlNode::GetNamedItem(const wchar_t* name, XmlNode& item) const
{
    item = XmlNode();
    Ref<IXMLDOMNamedNodeMap> map;
    HRESULT hr = Attributes(m_impl, &map);
    if (FAILED(hr))
        return hr;
    if (!map.get())
        return S_FALSE;
    Bstr text(name);
    IXMLDOMNode* found = nullptr;
    hr = map->getNamedItem(text.get(), &found);
    if (FAILED(hr))
        return hr;
    item = Adopt(found);
    return found ? S_OK : S_FALSE;
}

HRESULT XmlNode::GetNodeValue(_stringx<>& value) const
{
    value = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    VARIANT v;
    VariantInit(&v);
    HRESULT hr = m_impl->node->get_nodeValue(&v);
    if (FAILED(hr))
        return hr;
    bool isNull = false;
    hr = VariantText(v, value, isNull);
    VariantClear(&v);
    if (FAILED(hr))
        return hr;
    return isNull ? S_FALSE : S_OK;
}

HRESULT XmlNode::GetText(_stringx<>& text) const
{
    text = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    Bstr value;
    const HRESULT hr = m_impl->node->get_text(value.out());
    if (FAILED(hr))
        return hr;
    text = value.text();
    return S_OK;
}

HRESULT XmlNode::GetNodeName(_stringx<>& name) const
{
    name = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    Bstr value;
    const HRESULT hr = m_impl->node->get_nodeName(value.out());
    if (FAILED(hr))
        return hr;
    name = value.text();
    return S_OK;
}

HRESULT XmlNode::GetChildNodes(std::vector<XmlNode>& children) const
{
    children.clear();
    if (!m_impl)
        return E_POINTER;
    Ref<IXMLDOMNodeList> list;
    HRESULT hr = m_impl->node->get_childNodes(&list);
    if (FAILED(hr))
        return hr;
    return AppendNodes(list.get(), children);
}

HRESULT XmlNode::GetAttribute(const wchar_t* name, _stringx<>& value) const
{
    value = _stringx<>();
    if (!m_impl)
        return E_POINTER;
    Ref<IXMLDOMElement> element;
    HRESULT hr = m_impl->node->QueryInterface(kIXMLDOMElement, reinterpret_cast<void**>(&element));
    if (FAILED(hr))
        return hr;
    Bstr text(name);
    VARIANT v;
    VariantInit(&v);
    hr = element->getAttribute(text.get(), &v);
    if (FAILED(hr))
        return hr;
    bool isNull = false;
    hr = VariantText(v, value, isNull);
    VariantClear(&v);
    if (FAILED(hr))
        return hr;
    return isNull ? S_FALSE : S_OK;
}

XmlDocument::XmlDocument() = default;
XmlDocument::~XmlDocument() = default;

HRESULT XmlDocument::Create(int& version)
{
    struct Candidate {
        const CLSID* id;
        int version;
    };
    static const Candidate candidates[] = {{&kDomDocument60, 6}, {&kDomDocument40, 4}, {&kDomDocument30, 3}};
    m_impl.reset();
    HRESULT hr = E_FAIL;
    for (const Candidate& candidate : candidates) {
        IXMLDOMDocument2* document = nullptr;
        hr = CoCreateInstance(*candidate.id, nullptr, CLSCTX_INPROC_SERVER, kIXMLDOMDocument2,
                              reinterpret_cast<void**>(&document));
        if (SUCCEEDED(hr) && document) {
            m_impl = std::make_unique<Impl>();
            m_impl->document = document;
            version = candidate.version;
            return S_OK;
        }
    }
    return FAILED(hr) ? hr : E_FAIL;
}

bool XmlDocument::IsCreated() const noexcept { return m_impl != nullptr; }

void XmlDocument::Release() noexcept { m_impl.reset(); }

HRESULT XmlDocument::Load(const _stringx<>& path, bool& loaded)
{
    loaded = false;
    if (!m_impl)
        return E_POINTER;
    VARIANT source;
    VariantInit(&source);
    source.vt = VT_BSTR;
    source.bstrVal = SysAllocStringLen(path.c_str(), static_cast<UINT>(path.size()));
    VARIANT_BOOL result = VARIANT_FALSE;
    const HRESULT hr = m_impl->document->load(source, &result);
    VariantClear(&source);
    if (FAILED(hr))
        return hr;
    loaded = result == VARIANT_TRUE;
    return loaded ? S_OK : S_FALSE;
}

HRESULT XmlDocument::SetProperty(const wchar_t* name, const wchar_t* value)
{
    if (!m_impl)
        return E_POINTER;
    Bstr property(name);
    VARIANT v;
    VariantInit(&v);
    v.vt = VT_BSTR;
    v.bstrVal = SysAllocString(value ? value : L"");
    const HRESULT hr = m_impl->document->setProperty(property.get(), v);
    VariantClear(&v);
    return hr;
}

HRESULT XmlDocument::SelectNodes(const wchar_t* query, std::vector<XmlNode>& nodes)
{
    nodes.clear();
    if (!m_impl)
        return E_POINTER;
    Bstr text(query);
    Ref<IXMLDOMNodeList> list;
    HRESULT hr = m_impl->document->selectNodes(text.get(), &list);
    if (FAILED(hr))
        return hr;
    return AppendNodes(list.get(), nodes);
}

HRESULT XmlDocument::SelectSingleNode(const wchar_t* query, XmlNode& node)
{
    node = XmlNode();
    if (!m_impl)
        return E_POINTER;
    Bstr text(query);
    IXMLDOMNode* found = nullptr;
    const HRESULT hr = m_impl->document->selectSingleNode(text.get(), &found);
    if (FAILED(hr))
        return hr;
    node = Adopt(found);
    return found ? S_OK : S_FALSE;
}

}  // namespace qv
