#include "host/crypto/_tvHash.h"

#include <memory>
#include <new>
#include <string_view>

#include "host/crypto/_tvHashStream.h"
#include "host/crypto/detail/HashAlgorithms.h"
#include "host/log/LogBase.h"
#include "host/log/LogNull.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"
#include "host/xml/_tvDataSource.h"

namespace xmldsig {
namespace {

constexpr std::size_t kChunkSize = 64 * 1024;

std::string_view trimBlanks(std::string_view s) {
    const char* blanks = " \t\r\n";
    const std::size_t first = s.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return s.substr(first, s.find_last_not_of(blanks) - first + 1);
}

// Feeds the source through the stream; false (logged) on a read error.
bool streamSource(_tvDataSource& source, _tvHashStream& hasher, DataBuffer* copyOut, LogBase& log) {
    std::unique_ptr<unsigned char[]> chunk(new (std::nothrow) unsigned char[kChunkSize]);
    if (!chunk) {
        log.LogError("Out of memory for the read buffer.");
        return false;
    }
    for (;;) {
        std::size_t got = 0;
        if (!source.readChunk(chunk.get(), kChunkSize, got, log)) return false;
        if (got == 0) return true;
        if (!hasher.update(chunk.get(), got)) return true;  // final reports the failure
        if (copyOut != nullptr && !copyOut->append(chunk.get(), got)) {
            log.LogError("Failed to copy the data source's bytes.");
            return false;
        }
    }
}

}  // namespace

bool _tvHash::doHash(const void* data, std::size_t length, int hashId, DataBuffer& out) {
    LogNull quiet;
    _tvHashStream hasher;
    if (!hasher.init(hashId, quiet)) return false;
    return hasher.update(data, length) && hasher.final(out, quiet);
}

bool _tvHash::hashDataSource(_tvDataSource& source, int hashId, DataBuffer* copyOut,
                             DataBuffer& out, void* /*progress*/, LogBase& log) {
    if (hashId == 0) return true;
    _tvHashStream hasher;
    if (!hasher.init(hashId, log)) return false;
    if (!streamSource(source, hasher, copyOut, log)) {
        log.LogError("Failed to hash the data source.");
        return false;
    }
    return hasher.final(out, log);
}

int _tvHash::oidToHashAlg(const StringBuffer& oid) {
    const detail::HashAlgorithm* alg = detail::findHashAlgorithmByOid(trimBlanks(oid.str()));
    return alg != nullptr ? alg->id : 0;
}

int _tvHash::hashAlgFromName(const char* name) {
    if (name == nullptr) return 0;
    const detail::HashAlgorithm* alg = detail::findHashAlgorithmByName(trimBlanks(name));
    return alg != nullptr ? alg->id : 0;
}

int _tvHash::hashLength(int hashId) {
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashId);
    return alg != nullptr ? static_cast<int>(alg->digestSize) : 0;
}

const char* _tvHash::hashName(int hashId) {
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashId);
    return alg != nullptr ? alg->name : "";
}

const char* _tvHash::hashOid(int hashId) {
    const detail::HashAlgorithm* alg = detail::findHashAlgorithm(hashId);
    return alg != nullptr ? alg->oid : "";
}

}  // namespace xmldsig
