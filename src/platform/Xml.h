#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The small part of an XML document object that this program reads.
namespace platform {

/// A node of a document; keeps the document alive. A null node stands for "not found"; reading anything from it raises
/// objectNotSet (91).
class XmlNode {
public:
    XmlNode() = default;

    bool isNull() const { return impl == nullptr; }

    /// "#document", "#comment", or the element's name.
    std::wstring nodeName() const;

    /// Text of the node and all below it.
    std::wstring nodeTypedValue() const;

    std::vector<XmlNode> childNodes() const;

    /// The first node on a path of child names, "auth/token"; null if there is none. Names match exactly.
    XmlNode selectSingleNode(const std::wstring& path) const;

    /// All nodes on a path of child names, in document order.
    std::vector<XmlNode> selectNodes(const std::wstring& path) const;

    bool hasAttributes() const;

    /// Value of an attribute, or nothing.
    std::optional<std::wstring> attribute(const std::wstring& name) const;

    /// The node as text, as the platform writes it out.
    std::wstring xml() const;

    struct Impl; // the platform's node
    explicit XmlNode(std::shared_ptr<const Impl> node) : impl(std::move(node)) {}

private:
    const Impl& node() const;
    std::shared_ptr<const Impl> impl;
};

struct XmlParseError {
    std::int32_t errorCode; // non-zero, the parser's own
    std::wstring reason;
};

struct XmlParse {
    XmlNode document; // null if the text is not well-formed
    std::optional<XmlParseError> parseError;
};

/// Parses a text. No external entity or document type is fetched.
XmlParse loadXML(const std::wstring& text);

} // namespace platform
