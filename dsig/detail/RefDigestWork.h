// Working state of one same-document reference digest: the text each step rewrites, what the
// transforms did to it, and the digest.
#pragma once

#include <vector>

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/XmlCanon.h"

namespace xmldsig::detail {

struct RefDigestWork {
    StringBuffer text;
    // Signatures that the enveloped-signature transform took out of the data while the text is
    // still the loaded text: spans of it, left out of the canonical walk over the loaded tree
    // instead of being cut from the text and parsed again. Any step that needs the text itself
    // cuts them first (cutExcluded).
    std::vector<XmlCanon::Span> excluded;
    bool envelopedDone = false;
    bool canonicalized = false;
    bool base64Pending = false;
    bool saveMyInvoisDigest = false;
    DataBuffer digest;
    StringBuffer calculated;  // base64 of the digest, as compared

    // Cuts the excluded spans out of text (the text the cut-and-parse steps work on).
    void cutExcluded();
};

}  // namespace xmldsig::detail
