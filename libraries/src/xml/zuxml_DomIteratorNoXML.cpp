// The null back end of the XML document facade.

#include "zuxml_DomIterator.h"

namespace zuxml {

using zutl::String;

struct DomIterator::Place {}; // never created

DomIterator::DomIterator() = default;

DomIterator::DomIterator(const DomIterator& /*other*/) {} // nothing is copied

DomIterator& DomIterator::operator=(const DomIterator& /*other*/) {
    return *this;
} // NOLINT(bugprone-unhandled-self-assignment)

DomIterator::~DomIterator() = default;

DomIterator DomIterator::parse(const String& /*xml*/) {
    return DomIterator();
}

DomIterator DomIterator::childrenBegin() const {
    return DomIterator();
}

DomIterator DomIterator::findChild(const String& /*name*/) const {
    return DomIterator();
}

DomIterator DomIterator::searchChild(const String& /*name*/) const {
    return DomIterator();
}

void DomIterator::nextSibling() {}

void DomIterator::previousSibling() {}

bool DomIterator::atEnd() const {
    return false;
}

bool DomIterator::hasChildren() const {
    return false;
}

unsigned int DomIterator::numChildren() const {
    return 0;
}

unsigned int DomIterator::numChildren(const String& /*name*/) const {
    return 0;
}

bool DomIterator::hasValue() const {
    return false;
}

bool DomIterator::hasAttributes() const {
    return false;
}

bool DomIterator::hasAttribute(const String& /*name*/) const {
    return false;
}

bool DomIterator::isEqual(const DomIterator& /*other*/) const {
    return false;
}

bool DomIterator::operator<(const DomIterator& /*other*/) const {
    return false;
}

String DomIterator::getName() const {
    return String();
}

String DomIterator::getName(String& /*out*/) const {
    return String();
}

String DomIterator::getValue() const {
    return String();
}

String DomIterator::getAttribute(const String& /*name*/) const {
    return String();
}

std::map<String, String> DomIterator::attributes() const {
    return {};
}

String DomIterator::toXML() const {
    return String();
}

} // namespace zuxml
