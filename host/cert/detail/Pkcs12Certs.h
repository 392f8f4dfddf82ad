// The certificates of a PKCS#12 (.pfx/.p12) file.
#pragma once

#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// Appends the DER of the key's certificate and of every other certificate the file carries.
// Older files encrypted with RC2 or 3DES are read too. False, logged, on a wrong password
// ("MAC verification failed"), damaged DER or a file without certificates.
bool readPkcs12Certificates(const DataBuffer& p12, const char* password,
                            std::vector<DataBuffer>& out, LogBase& log);

}  // namespace xmldsig::detail
