// The cursor and the XML readers with the back end on pugixml, which the linker prefers to the library's.

#include "zusl_List.h"
#include "zusl_Map.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <numeric>
#include <pugixml.hpp>

using zutl::Integer;
using zutl::String;
using zuxml::DomIterator;
using Settings = zusl::StringMap<String>;

TEST(XmlCursor, ReadsXmlOfOtherWriters) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"\xEF\xBB\xBF<?xml version='1.0'?>\n<!DOCTYPE a [<!ENTITY b 'c'>]><!-- d --> <a/>\n<?e?><!-- f -->",
         "", "<a/>"},
        {"<a>1<!-- 2 -->3<![CDATA[<4>&amp;]]><b>5<c>6</c></b> 7<?d 8?></a>", "13<4>&amp;56 7", nullptr},
        {"<a>&lt;&gt;&amp;amp;&apos;&quot;&#65;&#x42;&b;&</a>", "<>&amp;'\"AB&b;&",
         "<a>&lt;&gt;&amp;amp;'\"AB&amp;b;&amp;</a>"},
        {"<a > \r\n\t</a >", " \r\n\t", "<a> \r\n\t</a>"}};
    for (const auto& [xml, value, itself] : cases) {
        const DomIterator root = DomIterator::parse(xml);
        EXPECT_EQ(root.getName(), "a");
        EXPECT_EQ(root.getValue(), value) << xml;
        EXPECT_EQ(root.hasValue(), *value != '\0');
        EXPECT_EQ(root.toXML(), itself != nullptr ? itself : xml);
    }
}

template <typename T>
static void expectUnread(const T& before, const char* xml) {
    T object(before);
    EXPECT_FALSE(object.fromXML(xml));
    EXPECT_EQ(object, before);
}

TEST(XmlCursor, IsAtItsEndIfTheTextIsNotWellFormed) {
    for (const char* const xml : {"", " \n", "text", "<!-- -->", "<?xml version='1.0'?>", "<a", "<a>",
                                  "<a><b></a></b>", "</a>", "<a/><b/>", "a<a/>", "<a/>b", "<![CDATA[]]><a/>",
                                  "<a/><!--", "<a b=1/>", "<a b/>", "<a>]]><![CDATA[</a>", "<></>"}) {
        SCOPED_TRACE(xml);
        DomIterator cursor = DomIterator::parse(xml, "second");
        for (int moves = 0; moves < 2; ++moves, cursor.previousSibling(), cursor.nextSibling()) {
            EXPECT_TRUE(cursor.atEnd());
            EXPECT_TRUE(cursor.childrenBegin().atEnd());
            EXPECT_TRUE(cursor.searchChild("b").atEnd());
            EXPECT_FALSE(cursor.hasChildren());
            EXPECT_FALSE(cursor.hasValue());
            EXPECT_FALSE(cursor.hasAttributes());
            EXPECT_EQ(cursor.getName() + cursor.getValue() + cursor.getAttribute("b") + cursor.toXML(), "");
        }
        expectUnread(String("before"), xml);
        expectUnread(Integer(7), xml);
        expectUnread(Settings{{"before", ""}}, xml);
        expectUnread(zusl::List<String>{"before"}, xml);
    }
}

TEST(XmlCursor, WalksTheElementsAndKeepsTheirDocument) {
    DomIterator cursor =
        DomIterator::parse("<r>0<!-- b --><n:a x=' 1' y=\"&lt;\n\"/>2<?b?><b><d/><c/></b><c>3</c>4</r>");
    const DomIterator root = cursor;
    EXPECT_EQ(root.numChildren() + 10 * root.numChildren("c"), 13U);
    EXPECT_FALSE(root.hasAttributes());
    EXPECT_FALSE(root.childrenBegin().hasChildren());
    String names, out;
    for (cursor = cursor.childrenBegin(); !cursor.atEnd(); cursor.nextSibling())
        names += cursor.getName(out) + out + (cursor.hasChildren() ? "+" : "-");
    EXPECT_EQ(names, "n:an:a-bb+cc-");
    EXPECT_TRUE(cursor.isEqual(root.childrenEnd()));
    EXPECT_FALSE(cursor.isEqual(root));
    EXPECT_TRUE(root.isEqual(root));

    cursor = root.findChild("b");
    EXPECT_TRUE(root.searchChild("b").isEqual(cursor));
    EXPECT_TRUE(root.findChild("d").atEnd());
    EXPECT_TRUE(root.searchChild("d").isEqual(cursor.childrenBegin()));
    EXPECT_EQ(root.searchChild("c").getValue() + root.findChild("c").getValue(), "3"); // the first is empty
    EXPECT_TRUE(cursor.searchChild("b").atEnd());
    EXPECT_NE(cursor < root, root < cursor);
    EXPECT_FALSE(root < root);
    cursor.previousSibling();
    EXPECT_EQ(cursor.attributes(), (std::map<String, String>{{"x", " 1"}, {"y", "<\n"}}));
    EXPECT_TRUE(cursor.hasAttribute("y"));
    EXPECT_FALSE(cursor.hasAttribute("z"));
    EXPECT_TRUE(cursor.getAttribute("z").empty());
    cursor.previousSibling();
    EXPECT_TRUE(cursor.atEnd());
}

TEST(XmlCursor, UsesNoStackForDepth) {
    const std::vector<String> levels(300001);
    const String xml = String::join(levels, "<a>") + "x" + String::join(levels, "</a>");
    const DomIterator root = DomIterator::parse(xml);
    EXPECT_EQ(root.getValue(), "x");
    EXPECT_EQ(root.toXML(), xml);
    EXPECT_TRUE(root.searchChild("b").atEnd());
}

TEST(XmlReaders, ReadAValue) {
    String text("before"), bytes(std::string(255, '\0'));
    std::iota(bytes.begin(), bytes.end(), '\1');
    for (const String& value : {bytes, String(" "), String("\r\n"), String("]]>&amp;<!-- a -->")}) {
        EXPECT_TRUE(text.fromXML(value.toXML().c_str()));
        EXPECT_EQ(text, value);
    }
    EXPECT_FALSE(text.fromXML(nullptr));
    EXPECT_TRUE(text.fromXML("<empty/>"));
    EXPECT_TRUE(text.empty());

    const std::pair<const char*, int> numbers[] = {
        {"42", 42}, {" 42", 42}, {"42abc", 42}, {"-7", -7}, {"abc", 0}, {"", 0}, {"99999999999", INT32_MAX}};
    for (const auto& [value, number] : numbers) {
        Integer read(1);
        EXPECT_TRUE(read.fromXML(("<v>" + std::string(value) + "</v>").c_str()));
        EXPECT_EQ(read, number) << value;
    }
}

TEST(XmlReaders, KeepBytesWhateverTheDeclaredEncoding) {
    const std::string element = "<v>\xC3\xA4\xE4</v>";
    for (const std::string encoding : {"UTF-8", "ISO-8859-1", "latin1", "UTF-16", "UTF-32"}) {
        const String xml("<?xml version='1.0' encoding='" + encoding + "'?>" + element);
        EXPECT_EQ(DomIterator::parse(xml).toXML(), element) << encoding;
    }
}

TEST(XmlReaders, ReadAMap) {
    const Settings full{{" a\n", "1"}, {"b", ""}, {"c<&", "<&>"}, {"d", " \r\n"}};
    Settings map{{"before", ""}};
    EXPECT_TRUE(map.fromXML(full.toXML("R").c_str()));
    EXPECT_EQ(map, full);
    EXPECT_FALSE(map.fromXML("<R>text</R>"));
    EXPECT_EQ(map, full);
    // The key from the attribute, else from the element's name; of two with one key the first.
    EXPECT_TRUE(
        map.fromXML("<n:any xmlns:n='u'><!-- a -->\n <x a='b' zu:displayName = 'k'>1</x> text <n:y>2</n:y>"
                    "<item zu:displayName=\"k\">3</item></n:any>"));
    EXPECT_EQ(map, (Settings{{"k", "1"}, {"n:y", "2"}}));
    // Another prefix for the schema, and one for another namespace.
    EXPECT_TRUE(map.fromXML(
        "<R xmlns:s='http://zu.example/SettingsSchema' xmlns:o='urn:o'><i o:displayName='o' "
        "u:displayName='u' s:x='x' s:displayName='k'>1</i><y o:displayName='o' displayName='p'>2</y></R>"));
    EXPECT_EQ(map, (Settings{{"k", "1"}, {"y", "2"}}));
}

TEST(XmlReaders, ReadAList) {
    const zusl::List<String> full{"a", "", "<&>", "\r\n"};
    zusl::List<String> list{"before"};
    EXPECT_TRUE(list.fromXML(full.toXML("L").c_str()));
    EXPECT_EQ(list, full);
    EXPECT_TRUE(list.fromXML("<L>text</L>"));
    EXPECT_TRUE(list.empty());
    zusl::List<Settings> maps; // an element without children holds no map
    EXPECT_TRUE(maps.fromXML("<L><none/><R><a>1</a></R></L>"));
    EXPECT_EQ(maps.size(), 1U);
    EXPECT_EQ(maps.front()["a"], "1");
}

TEST(XmlReaders, ThrowIfMemoryRunsOut) {
    pugi::set_memory_management_functions([](size_t) -> void* { return nullptr; }, std::free);
    EXPECT_THROW(DomIterator::parse("<a/>"), std::bad_alloc);
    pugi::set_memory_management_functions(std::malloc, std::free);
}
