#include "dsig/SignatureMethod.h"

#include "dsig/AlgorithmTable.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

int signatureMethodToHashAlg(const StringBuffer& uri, LogBase&) {
    const AlgorithmRow& row = firstReading(kPlaceSignatureHash, uri);
    return row.handler == AlgHandler::HashNotSupported ? -1 : row.hashId;
}

int signatureMethodToKeyType(const StringBuffer& uri, LogBase&) {
    return firstReading(kPlaceSignatureKey, uri).keyType;
}

}  // namespace xmldsig
