// Working state of one same-document reference digest: the text each step rewrites, what the
// transforms did to it, and the digest.
#pragma once

#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig::detail {

struct RefDigestWork {
    StringBuffer text;
    bool envelopedDone = false;
    bool canonicalized = false;
    bool base64Pending = false;
    bool saveMyInvoisDigest = false;
    DataBuffer digest;
    StringBuffer calculated;  // base64 of the digest, as compared
};

}  // namespace xmldsig::detail
