// The texts that the MyInvois (LHDN) signer actually hashes. Its signer loads the invoice without
// keeping white space, so the document digest covers the invoice minified, and it serializes the
// SignedProperties the way .NET writes a detached element, not canonically. The verifier falls
// back to these forms when a MyInvois reference does not match under the transform chain.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"

namespace xmldsig::detail {

// The document form: the invoice without its top-level UBLExtensions (extension-components
// namespace) and cac:Signature elements, canonicalized inclusively without comments, with every
// white-space-only text node dropped. False, logged, when the text does not parse or an element
// to remove has no place in it (entity replacement text).
bool lhdnDocumentForm(const StringBuffer& xmlText, StringBuffer& out, LogBase& log);

// The SignedProperties form: the element with that Id, exclusively canonicalized, white-space-only
// text dropped, namespace declarations after the other attributes, childless elements written
// "<name attrs />". False when the Id does not select one element named SignedProperties.
bool lhdnSignedPropertiesForm(const StringBuffer& xmlText, const StringBuffer& id,
                              StringBuffer& out, LogBase& log);

// Rewrites of canonical text (double-quoted attribute values, no comments, '<' always markup).
struct CanonRewrite {
    bool dropWhitespaceText = false;  // text of only blanks, tabs and line feeds goes
    bool dotNetTags = false;          // namespace declarations last; "<a></a>" becomes "<a />"
};
void rewriteCanonicalText(const StringBuffer& in, const CanonRewrite& how, StringBuffer& out);

}  // namespace xmldsig::detail
