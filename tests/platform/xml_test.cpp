#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/RunTimeError.h"
#include "platform/Xml.h"
#include "support/RaisedNumber.h"

using namespace platform;
using testing::ElementsAre;

namespace {

XmlNode parsed(const std::wstring& text) {
    const XmlParse parse = loadXML(text);
    EXPECT_FALSE(parse.parseError);
    return parse.document;
}

template <class Property> std::vector<std::wstring> each(const std::vector<XmlNode>& nodes, Property property) {
    std::vector<std::wstring> all;
    for (const XmlNode& node : nodes) all.push_back((node.*property)());
    return all;
}

TEST(Xml, NodesAreFoundByTheirPathOfNamesInDocumentOrder) {
    const XmlNode document = parsed(L"<galleries><gallery><friendly>Sea</friendly></gallery><other/>"
                                    L"<gallery><friendly>Shore</friendly><friendly>Strand</friendly></gallery>"
                                    L"<Gallery><friendly>Case</friendly></Gallery></galleries>");
    EXPECT_THAT(each(document.selectNodes(L"galleries/gallery/friendly"), &XmlNode::nodeTypedValue),
                ElementsAre(L"Sea", L"Shore", L"Strand"));
    const XmlNode second = document.selectNodes(L"galleries/gallery").at(1);
    EXPECT_EQ(second.selectSingleNode(L"friendly").nodeTypedValue(), L"Shore");
    EXPECT_TRUE(document.selectSingleNode(L"gallery").isNull()) << "a path begins at the node's own children";
    EXPECT_TRUE(second.selectNodes(L"categories/category").empty());
    EXPECT_EQ(parsed(L"<a xmlns='urn:x'><b>t</b></a>").selectSingleNode(L"a/b").nodeTypedValue(), L"t")
        << "a namespace hides no plain name";
    XmlNode token;
    { token = loadXML(L"<auth><token>abc</token></auth>").document.selectSingleNode(L"auth/token"); }
    EXPECT_EQ(token.nodeTypedValue(), L"abc") << "a node keeps its document alive";
}

TEST(Xml, ReadingFromANodeThatWasNotFoundIsAnError) {
    const XmlNode none = parsed(L"<a/>").selectSingleNode(L"b");
    const std::function<void()> reads[] = {[&] { none.nodeName(); },
                                           [&] { none.nodeTypedValue(); },
                                           [&] { none.childNodes(); },
                                           [&] { none.selectNodes(L"c"); },
                                           [&] { none.hasAttributes(); },
                                           [&] { none.attribute(L"d"); },
                                           [&] { none.selectSingleNode(L"c"); },
                                           [&] { none.xml(); }};
    for (const auto& read : reads) EXPECT_EQ(numberRaisedBy(read), errors::objectNotSet);
}

TEST(Xml, NamesTextsAndAttributes) {
    const XmlNode document = parsed(L"<?xml version='1.0' encoding='iso-8859-1'?><!--c--><v:a xmlns:v='u'/>");
    EXPECT_EQ(document.nodeName(), L"#document");
    EXPECT_THAT(each(document.childNodes(), &XmlNode::nodeName), ElementsAre(L"xml", L"#comment", L"v:a"))
        << "the declaration counts as a node";

    const XmlNode text = parsed(L"<a>\n  one <b>two</b><!--no--><![CDATA[<3>]]> &amp; &#233;\x20AC\n</a>");
    EXPECT_EQ(text.childNodes().at(0).nodeTypedValue(), L"one two<3> & \xE9\x20AC");
    EXPECT_EQ(parsed(L"<a>  </a>").nodeTypedValue(), L"");
    EXPECT_EQ(parsed(L"<a>\n  <b/>\n</a>").childNodes().at(0).childNodes().size(), 1u) << "blanks are no nodes";

    const XmlNode root = parsed(L"<wallpapers count=' 5 ' empty=''><wallpaper/></wallpapers>").childNodes().at(0);
    EXPECT_TRUE(root.hasAttributes());
    EXPECT_EQ(root.attribute(L"empty"), L"");
    EXPECT_EQ(root.attribute(L"Count"), std::nullopt);
    EXPECT_EQ(std::stoi(root.attribute(L"count").value()), 5);
    EXPECT_FALSE(root.childNodes().at(0).hasAttributes());
    EXPECT_EQ(root.childNodes().at(0).attribute(L"count"), std::nullopt);

    EXPECT_EQ(parsed(L"<gate><msg to='you'>pay &amp; go \xE9</msg></gate>").selectSingleNode(L"gate/msg").xml(),
              L"<msg to=\"you\">pay &amp; go \xE9</msg>");
    EXPECT_EQ(parsed(L"<?xml version=\"1.0\"?><gate/>").xml(), L"<?xml version=\"1.0\"?>\r\n<gate/>\r\n");
}

TEST(Xml, WhatIsNotWellFormedHasACodeAndAReasonAndNothingIsFetched) {
    for (const wchar_t* text : {L"", L"  ", L"Service unavailable", L"<a>", L"<a></b>", L"<a/><b/>",
                                L"<a x='1' x='2'/>", L"<a>&nbsp;</a>", L"<p>1 < 2</p>", L"<html><br></html>"}) {
        const XmlParse parse = loadXML(text);
        EXPECT_TRUE(parse.document.isNull()) << testing::PrintToString(std::wstring(text));
        ASSERT_TRUE(parse.parseError) << testing::PrintToString(std::wstring(text));
        EXPECT_NE(parse.parseError->errorCode, 0);
        EXPECT_FALSE(parse.parseError->reason.empty());
    }
    const XmlNode document = parsed(L"<!DOCTYPE html SYSTEM 'http://127.0.0.1:1/x.dtd'><html><p>hi</p></html>");
    EXPECT_EQ(document.selectSingleNode(L"html/p").nodeTypedValue(), L"hi");
    const XmlNode secret = parsed(L"<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>");
    EXPECT_EQ(secret.selectSingleNode(L"a").nodeTypedValue(), L"");
}

} // namespace
