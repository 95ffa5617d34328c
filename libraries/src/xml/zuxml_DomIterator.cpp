// The part of the XML facade that all back ends share.

#include "zuxml_DomIterator.h"

namespace zuxml {

using zutl::String;

void initialize() {}

void uninitialize() {}

String open(const char* /*name*/) {
    return String();
}

String close(const char* /*name*/) {
    return String();
}

DomIterator DomIterator::parse(const String& xml, const String& /*second*/) {
    return parse(xml);
}

DomIterator DomIterator::childrenEnd() const {
    return DomIterator();
}

String DomIterator::removeDoctype(const String& /*xml*/) {
    return String();
}

String DomIterator::addDTD(const String& /*xml*/, const String& /*dtd*/) {
    return String();
}

} // namespace zuxml
