// Fuzzes the cursor with any text, and the XML readers with the writers' output.

#include "fuzzing.h"
#include "zusl_List.h"
#include "zusl_Map.h"

using zutl::String;
using zuxml::DomIterator;

static void requireSame(const DomIterator& one, const DomIterator& other) {
    require(!other.atEnd() && one.getName() == other.getName() && one.getValue() == other.getValue());
    require(one.attributes() == other.attributes() && one.numChildren() == other.numChildren());
}

static void checkText(const String& text) {
    const DomIterator root = DomIterator::parse(text);
    unsigned int children = 0;
    for (DomIterator child = root.childrenBegin(); !child.atEnd(); child.nextSibling(), ++children) {
        requireSame(child, DomIterator::parse(child.toXML()));
        require(!root.findChild(child.getName()).atEnd() && !root.searchChild(child.getName()).atEnd());
    }
    require(children == root.numChildren() && root.hasChildren() == (children > 0));
    if (!root.atEnd())
        requireSame(root, DomIterator::parse(root.toXML()));
}

static void checkNumber(const String& text) {
    const zutl::Integer number(text.toInt());
    zutl::Integer again;
    require(again.fromXML(number.toXML().c_str()) && again.value == number.value);
}

static void checkList(const String& text) {
    zusl::List<String> list{""}, again;
    for (const String& token : text.tokenize(" ", ""))
        list.push_back(token);
    require(again.fromXML(list.toXML().c_str()) && again == list);
}

static void checkMap(const String& text) {
    zusl::StringMap<String> map, again;
    for (const String& key : text.tokenize(" \"&", "")) // keys are not escaped
        map["k" + key] = text.c_str();
    require(again.fromXML(map.toXML().c_str()) == !map.empty() && again == map);
}

void fuzz(FuzzedDataProvider& input) {
    const auto check = input.PickValueInArray({checkNumber, checkList, checkMap, checkText});
    check(input.ConsumeRemainingBytesAsString());
}
