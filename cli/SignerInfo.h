// What the tool says about the signer of the selected signature: the KeyInfo form the key came
// from, and the signer certificate's subject and serial when there is one.
#pragma once

#include <string>

#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

struct SignerInfo {
    std::string
        keyForm;  // "KeyValue", "X509Certificate", "certificate store", "WS-Security token"...
    std::string subject;
    std::string serial;  // upper-case hex
};

SignerInfo describeSigner(ClsXmlDSig& dsig);

}  // namespace xmldsig::cli
