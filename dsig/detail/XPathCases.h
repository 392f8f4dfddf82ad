// The XPath expressions that signing software actually writes, recognised by their text and
// carried out as edits of the working text. There is no XPath engine: anything else fails.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {
class ClsXml;
}

namespace xmldsig::detail {

struct XPathStep {
    ClsXml* transform;              // the Transform element (its XPath children); may be null
    StringBuffer& xml;              // the working text, edited in place
    const StringBuffer& algorithm;  // the transform's Algorithm
    const StringBuffer& xpath;      // the text of its first XPath child
    bool myInvois;                  // MyInvois rules in force
};

// Recognises the expression (logged as "commonXPathOption", or "unhandledXPath" when no form
// or no supported variant of it applies) and performs its removal. False when the expression
// is not handled or the removal failed.
bool runCommonXPath(XPathStep& step, LogBase& log);

}  // namespace xmldsig::detail
