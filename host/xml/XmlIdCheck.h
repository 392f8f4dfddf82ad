// Guards against signature wrapping: an Id value that more than one element of a document
// carries must never be resolved to one of them.
#pragma once

namespace xmldsig {

class ClsXml;
class LogBase;

// False, with a log line naming the Id, when more than one element of the document that doc
// belongs to carries id in one of its Id attributes. An Id that no element carries passes:
// the step that needs the element reports its absence.
bool checkIdNotDuplicated(const ClsXml& doc, const char* id, LogBase& log);

}  // namespace xmldsig
