// Where a XAdES SignatureTimeStamp goes in a located signature, and the XML that carries it:
// into the innermost qualifying-properties element that exists, else into a new
// QualifyingProperties in an unsigned Object, else into a new Object after the signature's
// last child. The token itself is put in later, in place of kTokenPlaceholder.
#pragma once

#include "host/log/LogBase.h"
#include "host/text/StringBuffer.h"
#include "host/xml/XmlSigLocate.h"

namespace xmldsig::detail {

extern const char kTokenPlaceholder[];  // "ENCAP_TIMESTAMP_BASE64"

// One part of a generated Id: the next value of a process-wide Lehmer generator (seeded from
// the tick count), mapped onto 1000..9998.
int _idPart();
// Appends four such parts joined by '-' ("1234-5678-9012-3456").
void appendXmlAttrId(StringBuffer& sb, LogBase& log);

struct TimestampInsertion {
    StringBuffer fragment;   // the XML to insert, holding kTokenPlaceholder
    unsigned offset = 0;     // where it goes in the text; 0 means nowhere
    unsigned removeLen = 0;  // bytes it replaces there: the "/>" of an empty-element tag
};

// Chooses the place and builds the fragment. loc comes from a search with the XAdES locations;
// sigPrefix is the prefix of the Signature element's tag ("" for none), sigHasXadesNs whether
// that element declares xmlns:xades, sigId its Id ("" for none). Leaves offset 0 when no place
// applies or a start tag there has no end.
void planTimestampInsertion(const XmlSigLocate& loc, const StringBuffer& text,
                            const StringBuffer& sigPrefix, bool sigHasXadesNs,
                            const StringBuffer& sigId, TimestampInsertion& out, LogBase& log);

}  // namespace xmldsig::detail
