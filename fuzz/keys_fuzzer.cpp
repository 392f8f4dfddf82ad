// Key material from outside: key-value XML (RSA, DSA, EC), key files (PEM or DER public keys,
// private keys, certificates) and PKCS#12 files with a password from the input. Property: a
// loaded key written as DER and read back is the same key.
#include <vector>

#include "FuzzInput.h"
#include "host/cert/ClsXmlCertVault.h"
#include "host/crypto/_tvPublicKey.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsBinData.h"

using namespace xmldsig;

namespace {

void checkDerRoundTrip(const _tvPublicKey& key, LogBase& log) {
    std::vector<unsigned char> der;
    if (!key.getDer(der)) fuzz::propertyBroken("a loaded key has no DER");
    DataBuffer db;
    db.append(der.data(), der.size());
    _tvPublicKey again;
    if (!again.loadAnyDer(db, log)) fuzz::propertyBroken("a key's own DER does not load");
    if (!again.equals(key)) fuzz::propertyBroken("a key's DER loads as another key");
}

}  // namespace

XMLDSIG_FUZZ_TARGET(keys_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte() % 3;
    LogNull log;
    if (mode == 2) {
        const std::string password = in.shortText(16);
        ClsXmlCertVault vault;
        ClsBinData p12;
        p12.m_data.append(in.data(), in.size());
        vault.AddPfxBinary(p12, XString(password.c_str()));
        return 0;
    }
    _tvPublicKey key;
    const bool ok = mode == 0 ? key.loadXml(in.restSb(), log) : key.loadAnyFormat(in.restDb(), log);
    if (ok) checkDerRoundTrip(key, log);
    return 0;
}
