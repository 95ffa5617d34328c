#include "zuxml_DomIterator.h"

#include <gtest/gtest.h>

using zuxml::DomIterator;

TEST(DomIterator, NullBackendFindsNothing) {
    zuxml::initialize();
    EXPECT_EQ(zuxml::open("name") + zuxml::close("name"), "");
    for (const char* const xml : {"<R a='1'><item>1</item></R>", "", "no xml"}) {
        DomIterator cursor = DomIterator::parse(xml, "second");
        cursor = DomIterator::parse(xml);
        cursor.nextSibling();
        cursor.previousSibling();
        for (const DomIterator& each : {cursor, cursor.childrenBegin(), cursor.childrenEnd(),
                                        cursor.findChild("item"), cursor.searchChild("item")}) {
            EXPECT_FALSE(each.atEnd());
            EXPECT_FALSE(each.hasChildren());
            EXPECT_FALSE(each.hasValue());
            EXPECT_FALSE(each.hasAttributes());
            EXPECT_FALSE(each.hasAttribute("a"));
            EXPECT_FALSE(each.isEqual(each));
            EXPECT_FALSE(each < each);
            EXPECT_EQ(each.numChildren() + each.numChildren("item") + each.attributes().size(), 0U);
            EXPECT_EQ(each.getName() + each.getValue() + each.getAttribute("a") + each.toXML(), "");
        }
        zutl::String out("before");
        EXPECT_EQ(cursor.getName(out) + out, "before");
        EXPECT_EQ(DomIterator::removeDoctype(xml) + DomIterator::addDTD(xml, "dtd"), "");
    }
    zuxml::uninitialize();
}
