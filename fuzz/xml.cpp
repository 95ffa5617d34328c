// Fuzzes the cursor with any text, and the XML readers with what the writers wrote.

#include "fuzzing.h"
#include "zusl_List.h"
#include "zusl_Map.h"

using zutl::String;
using zuxml::DomIterator;

static void requireSame(const DomIterator& one, const DomIterator& other) {
    require(!other.atEnd() && one.getName() == other.getName() && one.getValue() == other.getValue());
    require(one.attributes() == other.attributes() && one.numChildren() == other.numChildren());
}

static void checkText(const Text& text) {
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

void fuzz(FuzzedDataProvider& input) {
    const String text = input.ConsumeRemainingBytesAsString();
    checkText(text);

    zusl::List<String> list{""}, listAgain;
    zusl::StringMap<String> map, mapAgain;
    for (const String& token : text.tokenize(" ", ""))
        list.push_back(token);
    for (const String& key : text.tokenize(" \"&", "")) // keys are written as they are
        map["k" + key] = list.back();
    const zutl::Integer number(text.toInt());
    zutl::Integer numberAgain;
    require(numberAgain.fromXML(number.toXML().c_str()) && numberAgain.value == number.value);
    require(listAgain.fromXML(list.toXML().c_str()) && listAgain == list);
    require(mapAgain.fromXML(map.toXML().c_str()) == !map.empty() && mapAgain == map);
}
