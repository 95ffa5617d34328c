// The pugixml back end of the XML document facade.

#include "zuxml_DomIterator.h"

#include <cstring>
#include <new>
#include <pugixml.hpp>
#include <string>
#include <string_view>

namespace zuxml {

using pugi::xml_attribute;
using pugi::xml_node;
using zutl::String;

namespace {

// Keeps white space, line ends and attribute values as they are. Fragments are parsed so that text beside the
// root element is noticed and refused.
constexpr unsigned int parseOptions = pugi::parse_cdata | pugi::parse_escapes | pugi::parse_ws_pcdata |
                                      pugi::parse_comments | pugi::parse_pi | pugi::parse_fragment;

constexpr std::string_view schemaPrefix = "zu:";

bool isElement(xml_node node) {
    return node.type() == pugi::node_element;
}

bool isText(xml_node node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

bool isBlank(xml_node node) {
    return node.type() == pugi::node_pcdata && node.value()[std::strspn(node.value(), " \t\r\n")] == '\0';
}

// Returns `node` or the first element after it; a null node if there is none.
xml_node elementFrom(xml_node node) {
    while (node && !isElement(node))
        node = node.next_sibling();
    return node;
}

xml_node firstChild(xml_node parent) {
    return elementFrom(parent.first_child());
}

xml_node nextElement(xml_node node) {
    return elementFrom(node.next_sibling());
}

xml_node previousElement(xml_node node) {
    do
        node = node.previous_sibling();
    while (node && !isElement(node));
    return node;
}

// Returns the next node in document order, or a null node after the last one inside `top`.
xml_node nextInside(xml_node node, xml_node top) {
    if (node.first_child())
        return node.first_child();
    while (node != top && !node.next_sibling())
        node = node.parent();
    return node == top ? xml_node() : node.next_sibling();
}

// Returns the root element; a null node unless the document is one element with no text outside it.
xml_node rootOf(const pugi::xml_document& document) {
    for (const xml_node node : document)
        if (isText(node) && !isBlank(node))
            return xml_node();
    const xml_node root = firstChild(document);
    return nextElement(root) ? xml_node() : root;
}

// Returns the namespace of a prefix at the element; empty if the prefix is not declared.
std::string_view namespaceOf(std::string_view prefix, xml_node element) {
    const std::string declaration = "xmlns:" + std::string(prefix);
    for (; element; element = element.parent())
        if (const xml_attribute declared = element.attribute(declaration.c_str()))
            return declared.value();
    return {};
}

xml_attribute findAttribute(xml_node element, const String& name) {
    const xml_attribute asWritten = element.attribute(name.c_str());
    if (asWritten || name.compare(0, schemaPrefix.size(), schemaPrefix) != 0)
        return asWritten;
    const std::string_view wanted = std::string_view(name).substr(schemaPrefix.size() - 1); // from its colon
    for (const xml_attribute attribute : element.attributes()) {
        const std::string_view full(attribute.name());
        const size_t colon = full.find(':');
        if (colon != full.npos && full.substr(colon) == wanted &&
            namespaceOf(full.substr(0, colon), element) == settingsSchema)
            return attribute;
    }
    return {};
}

struct StringWriter : pugi::xml_writer {
    String text;
    void write(const void* data, size_t size) override { text.append(static_cast<const char*>(data), size); }
};

} // namespace

// A cursor's position. A null element is the end; the last cursor on a document releases it.
struct DomIterator::Place {
    std::shared_ptr<const pugi::xml_document> document;
    xml_node element;

    static xml_node of(const DomIterator& cursor) {
        return cursor.place ? cursor.place->element : xml_node();
    }
    static DomIterator moved(const DomIterator& from, xml_node element) {
        DomIterator cursor(from);
        if (cursor.place)
            cursor.place->element = element;
        return cursor;
    }
};

DomIterator::DomIterator() = default;

DomIterator::DomIterator(const DomIterator& other)
    : place(other.place ? std::make_unique<Place>(*other.place) : nullptr) {}
DomIterator& DomIterator::operator=(const DomIterator& other) {
    DomIterator copy(other);
    place.swap(copy.place);
    return *this;
}
DomIterator::~DomIterator() = default;

DomIterator DomIterator::parse(const String& xml) {
    const auto document = std::make_shared<pugi::xml_document>();
    const pugi::xml_parse_result result =
        document->load_buffer(xml.data(), xml.size(), parseOptions, pugi::encoding_utf8);
    if (result.status == pugi::status_out_of_memory)
        throw std::bad_alloc();
    DomIterator cursor;
    if (result)
        cursor.place = std::make_unique<Place>(Place{document, rootOf(*document)});
    return cursor;
}

DomIterator DomIterator::childrenBegin() const {
    return Place::moved(*this, firstChild(Place::of(*this)));
}

DomIterator DomIterator::findChild(const String& name) const {
    xml_node child = firstChild(Place::of(*this));
    while (child && name != child.name())
        child = nextElement(child);
    return Place::moved(*this, child);
}

DomIterator DomIterator::searchChild(const String& name) const {
    const xml_node top = Place::of(*this);
    xml_node node = nextInside(top, top);
    while (node && (!isElement(node) || name != node.name()))
        node = nextInside(node, top);
    return Place::moved(*this, node);
}

void DomIterator::nextSibling() {
    if (place)
        place->element = nextElement(place->element);
}

void DomIterator::previousSibling() {
    if (place)
        place->element = previousElement(place->element);
}

bool DomIterator::atEnd() const {
    return !Place::of(*this);
}

bool DomIterator::hasChildren() const {
    return firstChild(Place::of(*this));
}

unsigned int DomIterator::numChildren() const {
    unsigned int count = 0;
    for (xml_node child = firstChild(Place::of(*this)); child; child = nextElement(child))
        ++count;
    return count;
}

unsigned int DomIterator::numChildren(const String& name) const {
    unsigned int count = 0;
    for (xml_node child = firstChild(Place::of(*this)); child; child = nextElement(child))
        count += name == child.name() ? 1U : 0U;
    return count;
}

bool DomIterator::hasValue() const {
    return !getValue().empty();
}

bool DomIterator::hasAttributes() const {
    return Place::of(*this).first_attribute();
}

bool DomIterator::hasAttribute(const String& name) const {
    return findAttribute(Place::of(*this), name);
}

bool DomIterator::isEqual(const DomIterator& other) const {
    return Place::of(*this) == Place::of(other);
}

bool DomIterator::operator<(const DomIterator& other) const {
    return Place::of(*this) < Place::of(other);
}

String DomIterator::getName() const {
    return Place::of(*this).name();
}

String DomIterator::getName(String& out) const {
    return out = getName();
}

String DomIterator::getValue() const {
    const xml_node top = Place::of(*this);
    String value;
    for (xml_node node = nextInside(top, top); node; node = nextInside(node, top))
        if (isText(node))
            value += node.value();
    return value;
}

String DomIterator::getAttribute(const String& name) const {
    return findAttribute(Place::of(*this), name).value();
}

std::map<String, String> DomIterator::attributes() const {
    std::map<String, String> values;
    for (const xml_attribute attribute : Place::of(*this).attributes())
        values.emplace(attribute.name(), attribute.value());
    return values;
}

String DomIterator::toXML() const {
    StringWriter writer;
    Place::of(*this).print(writer, "", pugi::format_raw);
    return writer.text;
}

} // namespace zuxml
