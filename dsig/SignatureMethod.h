// What a SignatureMethod URI asks for: its hash algorithm and its key type.
#pragma once

namespace xmldsig {

class LogBase;
class StringBuffer;

// The first reading of the algorithm table (AlgorithmTable.h).
// Hash ids as the hashing services number them; 0 when the URI names no known hash, -1 for the
// SHA-3 family, which the first reading does not implement.
int signatureMethodToHashAlg(const StringBuffer& uri, LogBase& log);

// 1 RSA, 2 DSA, 3 ECDSA, 4 HMAC; -1 for anything else.
int signatureMethodToKeyType(const StringBuffer& uri, LogBase& log);

}  // namespace xmldsig
