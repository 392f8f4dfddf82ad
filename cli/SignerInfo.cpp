#include "cli/SignerInfo.h"

#include "host/cert/TavolinX509.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsStringArray.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::cli {

namespace {

std::string keyInfoForm(ClsXml& keyInfo) {
    struct Form {
        const char* path;
        const char* name;
    };
    static const Form forms[] = {
        {"*:KeyValue", "KeyValue"},
        {"*:X509Data|*:X509Certificate", "X509Certificate"},
        {"*:X509Data|*:X509IssuerSerial", "X509IssuerSerial (certificate store)"},
        {"*:X509Data|*:X509SubjectName", "X509SubjectName (certificate store)"},
        {"*:X509Data|*:X509SKI", "X509SKI (certificate store)"},
        {"*:SecurityTokenReference", "WS-Security token reference"},
        {"*:KeyName", "KeyName (not resolved)"},
        {"*:RetrievalMethod", "RetrievalMethod (not resolved)"},
    };
    std::string found;
    for (const auto& f : forms) {
        ClsXml* node = keyInfo.getChildWithTagUtf8(f.path);
        if (node == nullptr) continue;
        node->decRefCount();
        found += (found.empty() ? "" : ", ") + std::string(f.name);
    }
    return found;
}

}  // namespace

SignerInfo describeSigner(ClsXmlDSig& dsig) {
    SignerInfo info;
    if (ClsXml* keyInfo = dsig.GetKeyInfo()) {
        RefCountedObjectOwner owner(keyInfo);
        info.keyForm = keyInfoForm(*keyInfo);
    }
    // The signer's certificate is the one holding the key KeyInfo yields first (X509Data may
    // carry the whole chain, in any order).
    ClsPublicKey* signerKey = dsig.GetPublicKey();
    if (signerKey == nullptr) return info;
    RefCountedObjectOwner keyOwner(signerKey);
    ClsStringArray certs;
    dsig.GetCerts(certs);
    LogNull quiet;
    TavolinX509 cert;
    bool found = false;
    for (int i = 0; i < certs.count() && !found; ++i) {
        const char* b64 = certs.getString(i);
        DataBuffer spki;
        ClsPublicKey* key = ClsPublicKey::createNewCls();
        if (key == nullptr) break;
        found = b64 != nullptr && cert.loadX509Base64(b64, std::string(b64).size(), quiet) &&
                cert.get_PublicKey(spki, quiet) && key->loadAnyDer(spki, quiet) &&
                key->Equals(*signerKey);
        key->decRefCount();
    }
    if (!found) return info;
    XString subject, serial;
    cert.getDN(true, true, subject, quiet, 0);
    cert.get_SerialNumber(serial, quiet);
    info.subject = subject.getUtf8();
    info.serial = serial.getUtf8();
    return info;
}

}  // namespace xmldsig::cli
