#include "platform/Xml.h"

#include <algorithm>

#include "platform/RunTimeError.h"

namespace platform {

const XmlNode::Impl& XmlNode::node() const {
    if (isNull()) throw RunTimeError(errors::objectNotSet);
    return *impl;
}

XmlNode XmlNode::selectSingleNode(const std::wstring& path) const {
    const auto nodes = selectNodes(path);
    return nodes.empty() ? XmlNode() : nodes.front();
}

// Walked step by step, not by the parser's own queries: those disagree on what a bare name means in a namespace.
std::vector<XmlNode> XmlNode::selectNodes(const std::wstring& path) const {
    std::vector<XmlNode> nodes{*this};
    for (std::size_t start = 0; start <= path.size();) {
        const std::size_t end = std::min(path.find(L'/', start), path.size());
        const std::wstring name = path.substr(start, end - start);
        start = end + 1;
        std::vector<XmlNode> found;
        for (const XmlNode& parent : nodes) {
            for (XmlNode& child : parent.childNodes()) {
                if (child.nodeName() == name) found.push_back(std::move(child));
            }
        }
        nodes = std::move(found);
    }
    return nodes;
}

} // namespace platform
