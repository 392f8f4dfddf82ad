// The message imprint of an RFC 3161 TSTInfo (the content a timestamp token signs), read
// straight from its DER.
#pragma once

#include <cstddef>

namespace xmldsig {

class DataBuffer;
class LogBase;
class StringBuffer;

class TstInfo {
  public:
    // Largest TSTInfo accepted: real ones are a few hundred bytes.
    static constexpr std::size_t kMaxBytes = 64u << 10;

    // Sets hashOid (dotted decimal) and hashedMessage from the messageImprint of der. False,
    // the reason logged, when der is larger than kMaxBytes or is not exactly one TSTInfo.
    static bool readMessageImprint(const DataBuffer& der, StringBuffer& hashOid,
                                   DataBuffer& hashedMessage, LogBase& log);
};

}  // namespace xmldsig
