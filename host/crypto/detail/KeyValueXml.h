// Public keys written as XML key values: RSAKeyValue and DSAKeyValue (XML Signature),
// ECKeyValue (XML Signature 1.1) and ECDSAKeyValue (RFC 4050). Elements are matched by local
// name in any namespace. The keys come back unchecked; _tvPublicKey checks them.
#pragma once

#include <cstddef>

#include "host/crypto/detail/handles.h"

namespace xmldsig {
class ClsXml;
class DataBuffer;
class LogBase;
class StringBuffer;
}  // namespace xmldsig

namespace xmldsig::detail {

// xml is the key-value element's text (a KeyValue element around it is also accepted).
EvpPkeyPtr keyFromKeyValueXml(const StringBuffer& xml, LogBase& log);

// --- shared by the RSA/DSA and the EC readers ---

// Decodes the base64 content of the child that path names into out; false (logged) when it
// is missing, empty, malformed or decodes to more than maxBytes.
bool readBase64Child(const ClsXml& element, const char* path, std::size_t maxBytes, DataBuffer& out,
                     LogBase& log);
// A CryptoBinary child (unsigned big-endian, base64) as a number.
BignumPtr readCryptoBinary(const ClsXml& element, const char* path, LogBase& log);

EvpPkeyPtr ecKeyFromXmlDsig11(const ClsXml& ecKeyValue, LogBase& log);
EvpPkeyPtr ecKeyFromRfc4050(const ClsXml& ecdsaKeyValue, LogBase& log);

}  // namespace xmldsig::detail
