#include "platform/Xml.h"

#include <windows.h>

#include <msxml2.h>
#include <wrl/client.h>

#include "platform/RunTimeError.h"
#include "platform/win32/Com.h"

using Microsoft::WRL::ComPtr;

namespace {

/// IXMLDOMDocument2, which the import libraries leave out.
constexpr IID iidDocument2 = {0x2933BF95, 0x7B36, 0x11D2, {0xB2, 0x0E, 0x00, 0xC0, 0x4F, 0x98, 0x3E, 0x60}};

std::wstring take(BSTR text) {
    const std::wstring taken(text ? text : L"", SysStringLen(text));
    SysFreeString(text);
    return taken;
}

/// A text for a call, freed after it.
class Bstr {
public:
    explicit Bstr(const std::wstring& text) : value(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(value); }
    operator BSTR() const { return value; }

private:
    BSTR value;
};

/// The newest document object of the machine. Some Windows lacks the first, no Windows lacks the last.
ComPtr<IXMLDOMDocument> createDocument() {
    platform::win32::useCom();
    for (const wchar_t* name : {L"Msxml2.DOMDocument.6.0", L"Msxml2.DOMDocument.3.0", L"Microsoft.XMLDOM"}) {
        CLSID id;
        ComPtr<IXMLDOMDocument> document;
        if (SUCCEEDED(CLSIDFromProgID(name, &id)) &&
            SUCCEEDED(CoCreateInstance(id, nullptr, CLSCTX_INPROC_SERVER, IID_IXMLDOMDocument,
                                       reinterpret_cast<void**>(document.GetAddressOf()))))
            return document;
    }
    throw RunTimeError(errors::objectNotSet);
}

} // namespace

namespace platform {

struct XmlNode::Impl {
    ComPtr<IXMLDOMNode> node;
};

std::wstring XmlNode::nodeName() const {
    BSTR name = nullptr;
    node().node->get_nodeName(&name);
    return take(name);
}

std::wstring XmlNode::nodeTypedValue() const {
    BSTR text = nullptr;
    node().node->get_text(&text); // the typed value, where no data type is declared
    return take(text);
}

std::vector<XmlNode> XmlNode::childNodes() const {
    std::vector<XmlNode> children;
    ComPtr<IXMLDOMNodeList> list;
    node().node->get_childNodes(list.GetAddressOf());
    ComPtr<IXMLDOMNode> child;
    while (list && SUCCEEDED(list->nextNode(child.ReleaseAndGetAddressOf())) && child)
        children.emplace_back(std::make_shared<Impl>(Impl{child}));
    return children;
}

bool XmlNode::hasAttributes() const {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    node().node->get_attributes(attributes.GetAddressOf());
    LONG count = 0;
    return attributes && SUCCEEDED(attributes->get_length(&count)) && count > 0;
}

std::optional<std::wstring> XmlNode::attribute(const std::wstring& name) const {
    ComPtr<IXMLDOMNamedNodeMap> attributes;
    ComPtr<IXMLDOMNode> found;
    node().node->get_attributes(attributes.GetAddressOf());
    if (attributes) attributes->getNamedItem(Bstr(name), found.GetAddressOf());
    if (!found) return std::nullopt;
    BSTR value = nullptr;
    found->get_text(&value);
    return take(value);
}

std::wstring XmlNode::xml() const {
    BSTR text = nullptr;
    node().node->get_xml(&text);
    return take(text);
}

XmlParse loadXML(const std::wstring& text) {
    const ComPtr<IXMLDOMDocument> document = createDocument();
    document->put_async(VARIANT_FALSE);
    document->put_validateOnParse(VARIANT_FALSE);
    document->put_resolveExternals(VARIANT_FALSE);
    ComPtr<IXMLDOMDocument2> properties;
    if (SUCCEEDED(document.CopyTo(iidDocument2, reinterpret_cast<void**>(properties.GetAddressOf())))) {
        // Version 6 would refuse a document for naming its type, the older ones do not. They do not know the property.
        VARIANT no{};
        no.vt = VT_BOOL;
        no.boolVal = VARIANT_FALSE;
        properties->setProperty(Bstr(L"ProhibitDTD"), no);
    }

    VARIANT_BOOL wellFormed = VARIANT_FALSE;
    document->loadXML(Bstr(text), &wellFormed);
    if (wellFormed != VARIANT_FALSE) return {XmlNode(std::make_shared<XmlNode::Impl>(XmlNode::Impl{document})), {}};

    XmlParseError error{E_FAIL, {}};
    ComPtr<IXMLDOMParseError> parseError;
    if (SUCCEEDED(document->get_parseError(parseError.GetAddressOf())) && parseError) {
        LONG code = 0;
        BSTR reason = nullptr;
        parseError->get_errorCode(&code);
        parseError->get_reason(&reason);
        if (code != 0) error.errorCode = code;
        error.reason = take(reason);
    }
    return {{}, error};
}

} // namespace platform
