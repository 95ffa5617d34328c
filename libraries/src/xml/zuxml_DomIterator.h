#pragma once
// The XML document facade: every reader of XML text in the library goes through it. The CMake option
// ZU_XML_BACKEND chooses the back end:
//
//   none      The null back end. It parses nothing: every cursor is empty, every answer is empty or false. It
//             never reports the end of a sibling sequence.
//   pugixml   Reads with the pugixml parser.
//
// A reader calls DomIterator::parse and fails if atEnd(). To read one value it takes getValue(). To read a
// container it first asks hasChildren(), then walks from childrenBegin() with nextSibling() until atEnd();
// without the question the walk would not end with the null back end.
//
// The pugixml back end accepts one element whose tags all match, and outside it only blanks, comments and
// processing instructions. It tolerates a bare "&", and "<" in an attribute, because maps write their keys
// unescaped. Text is kept byte for byte, including line ends. The five XML entities and numeric references
// are decoded; others are kept as written, and nothing is expanded. No operation uses more stack for a deeper
// document. Names are compared as written, including their prefix, except that an attribute of the settings
// schema is found under any prefix that the document declares for it.

#include "zutl_String.h"

#include <map>
#include <memory>

namespace zuxml {

// The XML namespace of the settings schema; the prefix "zu" means this namespace.
inline constexpr const char* settingsSchema = "http://zu.example/SettingsSchema";

// Does nothing, with any back end.
void initialize();

// Does nothing, with any back end.
void uninitialize();

// Returns an empty text, with any back end.
zutl::String open(const char* name);

// Returns an empty text, with any back end.
zutl::String close(const char* name);

// A cursor that is positioned on an element of a document, or at its end. A plain value: it keeps its
// document alive. At the end, every answer is empty or false and every navigation stays at the end.
//
// Each comment describes the pugixml back end, and in square brackets the null back end.
class DomIterator {
public:
    // Creates a cursor at its end. [The empty cursor.]
    DomIterator();

    // Creates a cursor on the same element as `other`. [The empty cursor.]
    DomIterator(const DomIterator& other);

    // Moves to the element of `other`. [No effect.]
    DomIterator& operator=(const DomIterator& other);

    // Releases the document if this is its last cursor.
    virtual ~DomIterator();

    // Returns a cursor on the root element of the text, or one at its end if the text is not a document. [The
    // empty cursor.] Throws std::bad_alloc if memory runs out.
    static DomIterator parse(const zutl::String& xml);

    // Like parse(xml); `second` is ignored.
    static DomIterator parse(const zutl::String& xml, const zutl::String& second);

    // Returns a cursor on the first child element, or one at its end if there is none. [The empty cursor.]
    DomIterator childrenBegin() const;

    // Returns a cursor at its end. [The empty cursor.]
    DomIterator childrenEnd() const;

    // Returns a cursor on the first child element called `name`, or one at its end. [The empty cursor.]
    DomIterator findChild(const zutl::String& name) const;

    // Returns a cursor on the first descendant element called `name`, in document order, or one at its end.
    // [The empty cursor.]
    DomIterator searchChild(const zutl::String& name) const;

    // Moves to the next sibling element, or to the end. [No effect.]
    void nextSibling();

    // Moves to the previous sibling element, or to the end. [No effect.]
    void previousSibling();

    // Returns true if the cursor is not on an element. [False.]
    bool atEnd() const;

    // Returns true if the element has child elements. [False.]
    bool hasChildren() const;

    // Returns the number of child elements. [0.]
    unsigned int numChildren() const;

    // Returns the number of child elements called `name`. [0.]
    unsigned int numChildren(const zutl::String& name) const;

    // Returns true if getValue() is not empty. [False.]
    bool hasValue() const;

    // Returns true if the element has attributes. [False.]
    bool hasAttributes() const;

    // Returns true if the element has the attribute. [False.]
    bool hasAttribute(const zutl::String& name) const;

    // Returns true if both cursors are on the same element or both at their end. [False, also for a cursor
    // compared with itself.]
    bool isEqual(const DomIterator& other) const;

    // An unspecified strict weak order, so that cursors can be keys. [False.]
    bool operator<(const DomIterator& other) const;

    // Returns the element's name. [Empty.]
    zutl::String getName() const;

    // Returns the element's name and stores it in `out`. [Empty; `out` is unchanged.]
    zutl::String getName(zutl::String& out) const;

    // Returns the text inside the element, including that of its descendants. [Empty.]
    zutl::String getValue() const;

    // Returns the attribute's value, empty if it is absent. [Empty.]
    zutl::String getAttribute(const zutl::String& name) const;

    // Returns all attributes, from name to value. [Empty.]
    std::map<zutl::String, zutl::String> attributes() const;

    // Returns the element's own XML text with its tags. [Empty.]
    zutl::String toXML() const;

    // Returns an empty text, with any back end.
    static zutl::String removeDoctype(const zutl::String& xml);

    // Returns an empty text, with any back end.
    static zutl::String addDTD(const zutl::String& xml, const zutl::String& dtd);

private:
    struct Place; // defined by the back end: the element, and what keeps its document alive
    std::unique_ptr<Place> place;
};

} // namespace zuxml
