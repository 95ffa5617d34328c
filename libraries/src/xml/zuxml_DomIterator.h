#pragma once
// The XML document facade: the one door through which XML text is read. Behind it stands one of two backends,
// as the CMake option ZU_XML_BACKEND says. The null backend ("none") parses nothing: every cursor is empty,
// every answer is empty or false. The real one ("pugixml") reads with the parser of that name.
//
// How a reader uses it:
//   1. DomIterator::parse(text) gives a cursor on the root element.
//   2. atEnd() is true: the text held no document; the reader fails.
//   3. A reader of one value takes getValue().
//   4. A reader of a container asks hasChildren() first, and only then moves to childrenBegin() and on by
//   nextSibling()
//      until atEnd(). With the null backend atEnd() is never true, so a walk begun without asking would not
//      end.
//
// What the real backend takes for a document: one element whose tags all match, and outside it nothing but
// blanks, comments and instructions. A bare "&", and "<" in an attribute, are let pass, as maps write their
// keys unescaped. Text is kept byte for byte, line ends too, so that what toXML wrote is read back. The five
// entities and the numeric ones are decoded; others stay as they are, and nothing is ever expanded.

#include "zutl_String.h"

#include <map>
#include <memory>

namespace zuxml {

// The namespace of the settings schema, for which the prefix "zu" stands.
inline constexpr const char* settingsSchema = "http://zu.example/SettingsSchema";

// Do nothing.
void initialize();
void uninitialize();

// Empty.
zutl::String open(const char* name);
zutl::String close(const char* name);

// A cursor in a document: a plain value. What each operation gives in the null backend stands behind it, and
// above it what it gives in the real one where that differs. There a cursor stands on an element and keeps
// the document alive; at its end every answer is empty, false or a cursor at its end. Names are compared as
// written, with their prefix; but an attribute of the settings schema is also found when the document has
// another prefix for it. No operation takes more stack for deeper elements.
class DomIterator {
public:
    // At its end; where the other stands.
    DomIterator();
    DomIterator(const DomIterator& other);            // the empty cursor
    DomIterator& operator=(const DomIterator& other); // no effect
    virtual ~DomIterator();

    // On the root element; at its end when the text is no document. The second text is not looked at.
    static DomIterator parse(const zutl::String& xml);                             // the empty cursor
    static DomIterator parse(const zutl::String& xml, const zutl::String& second); // the empty cursor

    // On the first child element; at its end; on the first child of the name; on the first of the name among
    // all elements inside. At its end where there is none.
    DomIterator childrenBegin() const;                       // the empty cursor
    DomIterator childrenEnd() const;                         // the empty cursor
    DomIterator findChild(const zutl::String& name) const;   // the empty cursor
    DomIterator searchChild(const zutl::String& name) const; // the empty cursor

    // Moves to the element behind or before this one under the same parent; at its end when there is none.
    void nextSibling();     // no effect
    void previousSibling(); // no effect

    // Whether it stands on no element; whether there are child elements, and how many.
    bool atEnd() const;                                       // false
    bool hasChildren() const;                                 // false
    unsigned int numChildren() const;                         // 0
    unsigned int numChildren(const zutl::String& name) const; // 0

    // Whether getValue() has text, and the element attributes, or this one.
    bool hasValue() const;                             // false
    bool hasAttributes() const;                        // false
    bool hasAttribute(const zutl::String& name) const; // false

    // Whether both stand on the same element, or both at their end; some order, so that cursors can be keys.
    bool isEqual(const DomIterator& other) const;   // false, also for a cursor compared with itself
    bool operator<(const DomIterator& other) const; // false

    // The element's name, also in `out`; its text content with that of the elements inside; an attribute's
    // value, empty when absent; all of them; the element's own XML text with its tags.
    zutl::String getName() const;                               // empty
    zutl::String getName(zutl::String& out) const;              // empty; `out` stays as it is
    zutl::String getValue() const;                              // empty
    zutl::String getAttribute(const zutl::String& name) const;  // empty
    std::map<zutl::String, zutl::String> attributes() const;    // empty
    zutl::String toXML() const;                                 // empty
    static zutl::String removeDoctype(const zutl::String& xml); // empty, in both backends
    static zutl::String addDTD(const zutl::String& xml, const zutl::String& dtd); // empty, in both backends

private:
    struct Place; // the backend's own: the element and what keeps its document alive
    std::unique_ptr<Place> place;
};

} // namespace zuxml
