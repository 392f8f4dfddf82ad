// What the XAdES signed properties of a signature say about its signer, and whether they are
// bound to it: inside the signature's own QualifyingProperties and covered by a signed
// Reference, with a SigningCertificate(V2) naming the certificate that verified.
#pragma once

#include <string>
#include <vector>

namespace xmldsig {

struct XadesBinding {
    bool present = false;  // the signature carries or references SignedProperties
    bool covered = false;  // a Reference of SignedInfo covers its own SignedProperties
    // A fault that makes the signature invalid (empty when none): signed properties that
    // belong elsewhere, a signing certificate that is not the one that verified.
    std::string problem;
    std::string warning;          // SignedProperties not covered by a signed Reference
    std::string signingCertForm;  // "SigningCertificateV2", "SigningCertificate" or ""
    bool signingCertMatches = false;
    std::string signingTime;  // as written
    // Base64 DER from the unsigned properties: CertificateValues and RevocationValues CRLs.
    std::vector<std::string> certificateValues, crlValues;
};

}  // namespace xmldsig
