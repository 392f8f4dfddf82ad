// The hash dispatcher. Algorithms are named by integer ids shared across the library:
// 1 SHA-1, 2 SHA-384, 3 SHA-512, 4 MD2, 5 MD5, 7 SHA-256, 9 RIPEMD-128, 10 RIPEMD-160, 11 SHA-224,
// 12-15 SHA3-224/256/384/512 (named in HashIds.h);
// 0 means "no hash".
#pragma once

#include <cstddef>

namespace xmldsig {

class DataBuffer;
class LogBase;
class StringBuffer;
class _tvDataSource;

class _tvHash {
  public:
    // Appends the digest of the data to out. Id 0 appends nothing and succeeds. An unknown id,
    // null data with a non-zero length, or a failure inside OpenSSL appends nothing and returns
    // false (callers that need the reason use hashDataSource or _tvHashStream with a log).
    static bool doHash(const void* data, std::size_t length, int hashId, DataBuffer& out);

    // Reads the whole source in fixed-size chunks and appends its digest to out; memory use
    // does not depend on the source's size. When copyOut is not null it also receives every
    // byte read. progress is accepted for callers that pass a monitor; none is reported.
    // Id 0 reads nothing and succeeds. False, logged, on an unknown id or a read error; out is
    // then unchanged, while copyOut keeps the bytes read before the failure.
    static bool hashDataSource(_tvDataSource& source, int hashId, DataBuffer* copyOut,
                               DataBuffer& out, void* progress, LogBase& log);

    // The id of the hash algorithm with this dotted OID (surrounding blanks ignored); 0 when
    // the OID names no algorithm of the table.
    static int oidToHashAlg(const StringBuffer& oid);
    // The id for a name such as "sha256", "SHA-256" or "ripemd160"; 0 when unknown.
    static int hashAlgFromName(const char* name);

    // Digest size in bytes; 0 for id 0 and for unknown ids.
    static int hashLength(int hashId);
    // Lower-case short name ("sha256"); "" for id 0 and for unknown ids.
    static const char* hashName(int hashId);
    // Dotted OID; "" for id 0 and for unknown ids.
    static const char* hashOid(int hashId);
};

}  // namespace xmldsig
