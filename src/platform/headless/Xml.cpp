#include "platform/Xml.h"

#include <codecvt>
#include <locale>

#include <libxml/parser.h>
#include <libxml/tree.h>

namespace {

std::string toUtf8(const std::wstring& text) {
    // What has no UTF-8 becomes a byte that no document may have, for the parser to refuse.
    std::wstring_convert<std::codecvt_utf8<wchar_t>> convert("\xFF");
    return convert.to_bytes(text);
}

std::wstring fromUtf8(const xmlChar* text) {
    std::wstring_convert<std::codecvt_utf8<wchar_t>> convert("", L"");
    return text ? convert.from_bytes(reinterpret_cast<const char*>(text)) : std::wstring();
}

std::wstring take(xmlChar* text) {
    const std::wstring taken = fromUtf8(text);
    xmlFree(text);
    return taken;
}

std::wstring nameOf(const xmlChar* name, const xmlNs* ns) {
    return ns && ns->prefix ? fromUtf8(ns->prefix) + L':' + fromUtf8(name) : fromUtf8(name);
}

std::wstring trimmed(const std::wstring& text) {
    constexpr auto blanks = L" \t\r\n";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::wstring::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

namespace platform {

struct XmlNode::Impl {
    std::shared_ptr<xmlDoc> document;
    xmlNode* node;
};

std::wstring XmlNode::nodeName() const {
    const xmlNode* found = node().node;
    switch (found->type) {
    case XML_DOCUMENT_NODE: return L"#document";
    case XML_COMMENT_NODE: return L"#comment";
    case XML_TEXT_NODE: return L"#text";
    case XML_CDATA_SECTION_NODE: return L"#cdata-section";
    case XML_ELEMENT_NODE: return nameOf(found->name, found->ns);
    default: return fromUtf8(found->name);
    }
}

std::wstring XmlNode::nodeTypedValue() const { return trimmed(take(xmlNodeGetContent(node().node))); }

std::vector<XmlNode> XmlNode::childNodes() const {
    const Impl& self = node();
    std::vector<XmlNode> children;
    if (self.node->type != XML_DOCUMENT_NODE && self.node->type != XML_ELEMENT_NODE) return children;
    for (xmlNode* child = self.node->children; child; child = child->next)
        children.emplace_back(std::make_shared<Impl>(Impl{self.document, child}));
    return children;
}

bool XmlNode::hasAttributes() const {
    const xmlNode* element = node().node;
    return element->type == XML_ELEMENT_NODE && (element->properties || element->nsDef);
}

std::optional<std::wstring> XmlNode::attribute(const std::wstring& name) const {
    if (!hasAttributes()) return std::nullopt;
    for (const xmlAttr* attribute = node().node->properties; attribute; attribute = attribute->next) {
        if (nameOf(attribute->name, attribute->ns) == name)
            return take(xmlNodeListGetString(node().document.get(), attribute->children, 1));
    }
    return std::nullopt;
}

std::wstring XmlNode::xml() const {
    const Impl& self = node();
    if (self.node->type == XML_DOCUMENT_NODE) {
        std::wstring text;
        for (const XmlNode& child : childNodes()) text += child.xml() + L"\r\n";
        return text;
    }
    const std::unique_ptr<xmlBuffer, void (*)(xmlBuffer*)> buffer(xmlBufferCreate(), xmlBufferFree);
    xmlNodeDump(buffer.get(), self.document.get(), self.node, 0, 0);
    return fromUtf8(xmlBufferContent(buffer.get()));
}

XmlParse loadXML(const std::wstring& text) {
    const std::string bytes = toUtf8(text);
    const std::unique_ptr<xmlParserCtxt, void (*)(xmlParserCtxt*)> parser(xmlNewParserCtxt(), xmlFreeParserCtxt);
    const std::shared_ptr<xmlDoc> document(
        xmlCtxtReadMemory(parser.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr, "UTF-8",
                          XML_PARSE_NONET | XML_PARSE_NOBLANKS | XML_PARSE_NOERROR | XML_PARSE_NOWARNING),
        xmlFreeDoc);
    if (!document) {
        const xmlError* error = xmlCtxtGetLastError(parser.get());
        if (!error) return {{}, XmlParseError{XML_ERR_DOCUMENT_EMPTY, L"The text is empty."}};
        return {{}, XmlParseError{error->code, trimmed(fromUtf8(reinterpret_cast<const xmlChar*>(error->message)))}};
    }
    // Windows counts the XML declaration among the document's nodes.
    if (bytes.starts_with("<?xml ")) {
        const std::string content = bytes.substr(6, bytes.find("?>") - 6);
        xmlNode* declaration = xmlNewDocPI(document.get(), BAD_CAST "xml", BAD_CAST content.c_str());
        xmlAddPrevSibling(document->children, declaration);
    }
    return {
        XmlNode(std::make_shared<XmlNode::Impl>(XmlNode::Impl{document, reinterpret_cast<xmlNode*>(document.get())})),
        std::nullopt};
}

} // namespace platform
