#pragma once
// The XML document facade: the one door through which XML text is read. Behind it stands a null backend,
// which parses nothing: every cursor is empty, every answer is empty or false. A real backend fits behind the
// same interface.
//
// How a reader uses it:
//   1. DomIterator::parse(text) gives a cursor on the root element.
//   2. atEnd() is true: the text held no document; the reader fails.
//   3. A reader of one value takes getValue().
//   4. A reader of a container asks hasChildren() first, and only then moves to childrenBegin() and on by
//   nextSibling()
//      until atEnd(). With the null backend atEnd() is never true, so a walk begun without asking would not
//      end.

#include "zutl_String.h"

#include <map>

namespace zuxml {

// Do nothing in the null backend.
void initialize();
void uninitialize();

// Empty in the null backend.
zutl::String open(const char* name);
zutl::String close(const char* name);

// A cursor in a document: a plain value. What each operation gives in the null backend stands behind it; a
// real backend's answer is in parentheses.
class DomIterator {
public:
    DomIterator();
    DomIterator(const DomIterator& other);            // the empty cursor
    DomIterator& operator=(const DomIterator& other); // no effect
    virtual ~DomIterator();

    static DomIterator
    parse(const zutl::String& xml); // the empty cursor (on the root element; at its end without one)
    static DomIterator parse(const zutl::String& xml, const zutl::String& second); // the empty cursor

    DomIterator childrenBegin() const; // the empty cursor (on the first child; at its end without)
    DomIterator childrenEnd() const;   // the empty cursor
    DomIterator findChild(const zutl::String& name) const;   // the empty cursor
    DomIterator searchChild(const zutl::String& name) const; // the empty cursor
    void nextSibling();     // no effect (moves on; past the last, atEnd() is true)
    void previousSibling(); // no effect

    bool atEnd() const;                                       // false
    bool hasChildren() const;                                 // false (whether there are child elements)
    unsigned int numChildren() const;                         // 0
    unsigned int numChildren(const zutl::String& name) const; // 0
    bool hasValue() const;                                    // false
    bool hasAttributes() const;                               // false
    bool hasAttribute(const zutl::String& name) const;        // false
    bool isEqual(const DomIterator& other) const;             // false, also for a cursor compared with itself
    bool operator<(const DomIterator& other) const;           // false

    zutl::String getName() const;                  // empty (the element's name)
    zutl::String getName(zutl::String& out) const; // empty; `out` stays as it is
    zutl::String getValue() const;                 // empty (the element's text content)
    zutl::String
    getAttribute(const zutl::String& name) const; // empty (the attribute's value; empty when absent)
    std::map<zutl::String, zutl::String> attributes() const; // empty (name to value)
    zutl::String toXML() const; // empty (the element's own XML text with its tags)
    static zutl::String removeDoctype(const zutl::String& xml);                   // empty
    static zutl::String addDTD(const zutl::String& xml, const zutl::String& dtd); // empty

private:
    zutl::String text; // stays empty
};

} // namespace zuxml
