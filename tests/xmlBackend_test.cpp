// The XML readers against a backend that finds something. This program brings an implementation of the cursor
// of its own, which the linker takes in place of the null backend: elements, text and attributes, no comments
// or declarations.

#include "bytes.h"
#include "zusl_List.h"
#include "zusl_Map.h"

#include <gtest/gtest.h>

namespace zuxml {

using zutl::String;

namespace {

// The first element in the text: from its "<" to behind its last ">"; empty when there is none.
String firstElement(const String& text) {
    const size_t start = text.find('<');
    if (start == text.npos || text.compare(start, 2, "</") == 0)
        return String();
    const String name(text.substr(start + 1, text.find_first_of(" />", start) - start - 1));
    unsigned tagStart, end, closeStart;
    bool selfClosing;
    if (!findOpenTag(text, static_cast<unsigned>(start), name, tagStart, end, selfClosing) ||
        (!selfClosing && !findCloseTag(text, end + 1, name, closeStart, end)))
        return String();
    return String(text.substr(start, end + 1 - start));
}

String content(const String& element) {
    const size_t from = element.find('>') + 1, to = element.rfind("</");
    return to == element.npos || to < from ? String() : String(element.substr(from, to - from));
}

} // namespace

// The cursor's text is its element and all that follows it.
DomIterator::DomIterator() = default;
DomIterator::DomIterator(const DomIterator& other) = default;
DomIterator& DomIterator::operator=(const DomIterator& other) = default;
DomIterator::~DomIterator() = default;
DomIterator DomIterator::parse(const String& xml) {
    DomIterator cursor;
    cursor.text = xml;
    return cursor;
}
DomIterator DomIterator::childrenBegin() const {
    return parse(content(toXML()));
}
bool DomIterator::atEnd() const {
    return toXML().empty();
}
bool DomIterator::hasChildren() const {
    return !childrenBegin().atEnd();
}
void DomIterator::nextSibling() {
    text.erase(0, text.find('<') + toXML().size());
}
String DomIterator::toXML() const {
    return firstElement(text);
}
String DomIterator::getName() const {
    const String xml = toXML();
    return String(xml.substr(1, xml.find_first_of(" />") - 1));
}
String DomIterator::getValue() const {
    return String::decodeHtml(content(toXML()));
}
String DomIterator::getAttribute(const String& name) const {
    const String xml = toXML();
    return String(xml.substr(0, xml.find('>'))).extract(" " + name + "=\"", "\"");
}

} // namespace zuxml

using zutl::Integer;
using zutl::String;
using Settings = zusl::StringMap<String>;

TEST(XmlReaders, TakeAValue) {
    String text("before");
    EXPECT_TRUE(text.fromXML(String("a<b&c \"\xC3\xBC").toXML().c_str()));
    EXPECT_EQ(text, "a<b&c \"\xC3\xBC");
    EXPECT_FALSE(text.fromXML("no document") || text.fromXML(nullptr));
    EXPECT_EQ(text, "a<b&c \"\xC3\xBC");
    EXPECT_TRUE(text.fromXML("<empty/>"));
    EXPECT_EQ(text, "");

    const std::pair<const char*, int> numbers[] = {
        {"42", 42}, {" 42", 42}, {"42abc", 42}, {"-7", -7}, {"abc", 0}, {"", 0}, {"99999999999", INT32_MAX}};
    for (const auto& [value, number] : numbers) {
        Integer read(1);
        EXPECT_TRUE(read.fromXML(("<v>" + std::string(value) + "</v>").c_str()));
        EXPECT_EQ(read, number) << value;
        EXPECT_FALSE(read.fromXML(""));
    }
}

TEST(XmlReaders, TakeAMap) {
    const Settings full{{"a", "1"}, {"b", ""}, {"c", "<&>"}};
    Settings map{{"before", ""}};
    EXPECT_TRUE(map.fromXML(full.toXML("R").c_str()));
    EXPECT_EQ(map, full);
    EXPECT_FALSE(map.fromXML("<R></R>") || map.fromXML("no document"));
    EXPECT_EQ(map, full);
    // The key from the attribute, else from the element's name; of two with one key the first.
    EXPECT_TRUE(
        map.fromXML("<any><x zu:displayName=\"k\">1</x><y>2</y><item zu:displayName=\"k\">3</item></any>"));
    EXPECT_EQ(map, (Settings{{"k", "1"}, {"y", "2"}}));
}

TEST(XmlReaders, TakeAList) {
    const zusl::List<String> full{"a", "", "<&>"};
    zusl::List<String> list{"before"};
    EXPECT_TRUE(list.fromXML(full.toXML("L").c_str()));
    EXPECT_EQ(list, full);
    EXPECT_FALSE(list.fromXML("no document"));
    EXPECT_EQ(list, full);
    EXPECT_TRUE(list.fromXML("<L/>") && list.empty());
}
