#include "api/modXML.h"

#include <cmath>

#include "api/CVHAPI.h"
#include "core/Errors.h"
#include "core/Numbers.h"
#include "platform/Messages.h"
#include "platform/Xml.h"
#include "state/modGlobals.h"
#include "ui/windows.h"

namespace {

using platform::XmlNode;

/// Text of a child; raises objectNotSet (91) where the answer lacks it.
std::wstring textOf(const XmlNode& parent, const std::wstring& name) {
    return parent.selectSingleNode(name).nodeTypedValue();
}

void parseError(const XmlNode& root) {
    gAPI->APIHandleError(toInteger(std::trunc(toDouble(textOf(root, L"number")))), textOf(root, L"description"));
}

void parseAuth(const XmlNode& document, const XmlNode& root) {
    const std::wstring token = textOf(document, L"auth/token");
    if (token.empty()) {
        // A refused login comes as an error answer; here there is nothing to say but for a wholly empty one.
        if (textOf(root, L"status").empty())
            platform::messageBox(L"Unknown Login Error", platform::box::ok, L"Quillory");
        return;
    }
    gAPI->apiLoggedIn = true;
    gAPI->apiAuthToken = token;
    gAPI->apiUsername = textOf(root, L"username");
    showUserName(gAPI->apiUsername);
    gAPI->apiKey = textOf(root, L"apiKey");
    LoginSuccess();
}

void parseGalleries(const XmlNode& document) {
    const auto nodes = document.selectNodes(L"galleries/gallery");
    galleries.clear();
    for (const XmlNode& node : nodes) {
        Galleries::Gallery& gallery = galleries.add(textOf(node, L"friendly"));
        for (const XmlNode& category : node.selectNodes(L"categories/category")) {
            if (textOf(category, L"redir") != L"no") continue;
            std::wstring name = textOf(category, L"friendly");
            if (name == L"Ah My Goddess") name = L"Ah! My Goddess"; // the service's one wrong spelling
            gallery.push_back(name);
        }
    }
    updateCategoryList();
}

void parseWallpapers(const XmlNode& root) {
    if (!root.hasAttributes()) return;
    const auto count = root.attribute(L"count");
    if (!count) throw RunTimeError(errors::objectNotSet);
    if (toDouble(*count) < 1) {
        NoWallpapersExist();
        return;
    }
    const XmlNode wallpaper = root.selectSingleNode(L"wallpaper");
    wallpaperId = toLong(textOf(wallpaper, L"id"));
    const std::wstring fileName = textOf(wallpaper, L"filename");
    wallpaperLink = textOf(wallpaper, L"link");
    gAPI->DownloadAndChangeWallpaper(wallpaperId, fileName);
}

} // namespace

void ParseXML(const std::wstring& body) {
    trapErrors(L"Function ParseXML, modXML", [&] {
        const platform::XmlParse parsed = platform::loadXML(body);
        if (parsed.parseError) {
            platform::messageBox(std::to_wstring(parsed.parseError->errorCode) + crLf + parsed.parseError->reason,
                                 platform::box::critical, L"XML Error");
            return;
        }
        const XmlNode& document = parsed.document;
        const auto children = document.childNodes();
        const XmlNode root = children.empty() ? XmlNode() : children.front();
        const std::wstring name = root.nodeName();
        if (name == L"error") {
            parseError(root);
        } else if (name == L"auth") {
            parseAuth(document, root);
        } else if (name == L"galleries") {
            parseGalleries(document);
        } else if (name == L"wallpapers") {
            parseWallpapers(root);
        } else if (name == L"quillory") {
            if (textOf(root, L"action") == L"upgrade") upgradeQuillory(textOf(root, L"link"));
        } else {
            showNotice(L"Quillory - API Error",
                       L"Quillory has encountered an inconsistency in communications with VelvetHarbor" + crLf +
                           L"Debug Dump: " + document.xml());
        }
    });
}
