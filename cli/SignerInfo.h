// What the tool says about the signer of a verified signature: the certificate of the key that
// verified (never another certificate of KeyInfo), where that key came from, and the KeyInfo
// forms the signature offers.
#pragma once

#include <string>

#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

struct SignerInfo {
    std::string keyForm;  // KeyInfo forms present: "KeyValue", "X509Certificate", ...
    std::string source;   // where the verifying key came from; empty when nothing verified
    bool hasCert = false;
    std::string subject, issuer;
    std::string serial;               // upper-case hex
    std::string sha256;               // fingerprint of the DER, upper-case hex
    std::string notBefore, notAfter;  // "YYYY-MM-DDTHH:MM:SSZ"
};

// certBase64: the verifying key's certificate (empty when it had none); source: its origin.
SignerInfo describeSigner(ClsXmlDSig& dsig, const std::string& certBase64,
                          const std::string& source);

// The short form for the verdict line: "signer CN=..., O=...; key from SOURCE" (or "key from
// SOURCE, no certificate").
std::string signerSummary(const SignerInfo& signer);

}  // namespace xmldsig::cli
