// Guards against signature wrapping: an Id value that more than one element of a document
// carries must never be resolved to one of them.
#pragma once

#include <cstdint>
#include <string>

namespace xmldsig {

class ClsXml;
class LogBase;

// False, with a log line naming the Id, when more than one element of the document that doc
// belongs to carries id in one of its Id attributes. An Id that no element carries passes:
// the step that needs the element reports its absence.
bool checkIdNotDuplicated(const ClsXml& doc, const char* id, LogBase& log);
// How many elements of the document that doc belongs to carry id in one of their Id attributes.
int countElementsWithId(const ClsXml& doc, const char* id);

// Where an element is: its path of local names from the root ("/Envelope/Header/Body") and the
// byte range [start, end) of its text in the parsed document.
struct ElementPlace {
    std::string path;
    uint32_t start = 0, end = 0;
};
// The one element that carries id (false when none or several do); with id null or empty, the
// root element.
bool placeOfElementWithId(const ClsXml& doc, const char* id, ElementPlace& out);

}  // namespace xmldsig
