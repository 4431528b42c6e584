#include "inspect/xml_document.h"

namespace qv {

_stringx<> AttributeText(const XmlNode& node, const wchar_t* name)
{
    if (node.IsNull())
        return _stringx<>();
    long count = 0;
    if (node.GetAttributeCount(count) != S_OK)
        return _stringx<>();
    XmlNode item;
    if (node.GetNamedItem(name, item) != S_OK || item.IsNull())
        return _stringx<>();
    _stringx<> text;
    if (FAILED(item.GetText(text)))
        return _stringx<>();
    return text;
}

}  // namespace qv
