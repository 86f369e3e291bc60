#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/RunTimeError.h"
#include "platform/Xml.h"

using namespace platform;
using testing::ElementsAre;

namespace {

XmlNode parsed(const std::wstring& text) {
    const XmlParse parse = loadXML(text);
    EXPECT_FALSE(parse.parseError);
    return parse.document;
}

std::vector<std::wstring> textsOf(const std::vector<XmlNode>& nodes) {
    std::vector<std::wstring> texts;
    for (const XmlNode& node : nodes) texts.push_back(node.nodeTypedValue());
    return texts;
}

TEST(Xml, NodesAreFoundByTheirPathOfNamesInDocumentOrder) {
    const XmlNode document = parsed(L"<galleries><gallery><friendly>Sea</friendly></gallery><other/>"
                                    L"<gallery><friendly>Shore</friendly><friendly>Strand</friendly></gallery>"
                                    L"<Gallery><friendly>Case</friendly></Gallery></galleries>");
    EXPECT_THAT(textsOf(document.selectNodes(L"galleries/gallery/friendly")), ElementsAre(L"Sea", L"Shore", L"Strand"));
    const auto galleries = document.selectNodes(L"galleries/gallery");
    ASSERT_EQ(galleries.size(), 2u);
    EXPECT_EQ(galleries[1].selectSingleNode(L"friendly").nodeTypedValue(), L"Shore");
    EXPECT_TRUE(document.selectSingleNode(L"gallery").isNull()) << "a path begins at the node's own children";
    EXPECT_TRUE(galleries[0].selectSingleNode(L"categories/category").isNull());
    EXPECT_TRUE(galleries[0].selectNodes(L"categories/category").empty());
}

TEST(Xml, ANamespaceDoesNotHideAPlainName) {
    EXPECT_EQ(parsed(L"<auth xmlns='urn:x'><token>t</token></auth>").selectSingleNode(L"auth/token").nodeTypedValue(),
              L"t");
}

TEST(Xml, ReadingFromANodeThatWasNotFoundIsAnError) {
    const XmlNode none = parsed(L"<a/>").selectSingleNode(L"b");
    const std::vector<std::function<void()>> reads = {[&] { none.nodeName(); },
                                                      [&] { none.nodeTypedValue(); },
                                                      [&] { none.childNodes(); },
                                                      [&] { none.selectNodes(L"c"); },
                                                      [&] { none.hasAttributes(); },
                                                      [&] { none.attribute(L"d"); },
                                                      [&] { none.selectSingleNode(L"c"); },
                                                      [&] { none.xml(); }};
    for (const auto& read : reads) {
        try {
            read();
            ADD_FAILURE() << "nothing was raised";
        } catch (const RunTimeError& error) {
            EXPECT_EQ(error.Number, errors::objectNotSet);
        }
    }
}

TEST(Xml, NamesOfNodes) {
    const XmlNode document = parsed(L"<?xml version='1.0' encoding='iso-8859-1'?><!--c--><v:a xmlns:v='u'/>");
    EXPECT_EQ(document.nodeName(), L"#document");
    std::vector<std::wstring> names;
    for (const XmlNode& node : document.childNodes()) names.push_back(node.nodeName());
    EXPECT_THAT(names, ElementsAre(L"xml", L"#comment", L"v:a")) << "the declaration counts as a node";
}

TEST(Xml, TextIsPutTogetherFromAllBelowAndTrimmed) {
    const XmlNode root =
        parsed(L"<a>\n  one <b>two</b><!--no--><![CDATA[<3>]]> &amp; &#233;\x20AC\n</a>").childNodes().at(0);
    EXPECT_EQ(root.nodeTypedValue(), L"one two<3> & \xE9\x20AC");
    EXPECT_EQ(parsed(L"<a>  </a>").nodeTypedValue(), L"");
    EXPECT_TRUE(parsed(L"<a>\n  <b/>\n</a>").childNodes().at(0).childNodes().size() == 1) << "blanks are no nodes";
}

TEST(Xml, Attributes) {
    const XmlNode root = parsed(L"<wallpapers count=' 5 ' empty=''><wallpaper/></wallpapers>").childNodes().at(0);
    EXPECT_TRUE(root.hasAttributes());
    EXPECT_EQ(root.attribute(L"empty"), L"");
    EXPECT_EQ(root.attribute(L"Count"), std::nullopt);
    EXPECT_EQ(std::stoi(root.attribute(L"count").value()), 5);
    EXPECT_FALSE(root.childNodes().at(0).hasAttributes());
    EXPECT_EQ(root.childNodes().at(0).attribute(L"count"), std::nullopt);
}

TEST(Xml, WhatIsNotWellFormedHasACodeAndAReason) {
    for (const wchar_t* text : {L"", L"  ", L"Service unavailable", L"<a>", L"<a></b>", L"<a/><b/>",
                                L"<a x='1' x='2'/>", L"<a>&nbsp;</a>", L"<p>1 < 2</p>", L"<html><br></html>"}) {
        const XmlParse parse = loadXML(text);
        EXPECT_TRUE(parse.document.isNull()) << testing::PrintToString(std::wstring(text));
        ASSERT_TRUE(parse.parseError) << testing::PrintToString(std::wstring(text));
        EXPECT_NE(parse.parseError->errorCode, 0);
        EXPECT_FALSE(parse.parseError->reason.empty());
    }
}

TEST(Xml, ADocumentTypeIsReadButNothingIsFetchedForIt) {
    const XmlNode document = parsed(L"<!DOCTYPE html SYSTEM 'http://127.0.0.1:1/x.dtd'><html><p>hi</p></html>");
    EXPECT_EQ(document.selectSingleNode(L"html/p").nodeTypedValue(), L"hi");
    const XmlNode secret = parsed(L"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>");
    EXPECT_EQ(secret.selectSingleNode(L"a").nodeTypedValue(), L"");
}

TEST(Xml, TheDocumentAsText) {
    EXPECT_EQ(parsed(L"<gate><msg to='you'>pay &amp; go \xE9</msg></gate>").selectSingleNode(L"gate/msg").xml(),
              L"<msg to=\"you\">pay &amp; go \xE9</msg>");
    EXPECT_EQ(parsed(L"<?xml version=\"1.0\"?><gate/>").xml(), L"<?xml version=\"1.0\"?>\r\n<gate/>\r\n");
}

TEST(Xml, ANodeKeepsItsDocumentAlive) {
    XmlNode token;
    { token = loadXML(L"<auth><token>abc</token></auth>").document.selectSingleNode(L"auth/token"); }
    EXPECT_EQ(token.nodeTypedValue(), L"abc");
}

} // namespace
