#include "cli/SignerInfo.h"

#include "host/cert/TavolinX509.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
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

SignerInfo describeSigner(ClsXmlDSig& dsig, const std::string& certBase64,
                          const std::string& source) {
    SignerInfo info;
    info.source = source;
    if (ClsXml* keyInfo = dsig.GetKeyInfo()) {
        RefCountedObjectOwner owner(keyInfo);
        info.keyForm = keyInfoForm(*keyInfo);
    }
    LogNull quiet;
    TavolinX509 cert;
    if (certBase64.empty() || !cert.loadX509Base64(certBase64.c_str(), certBase64.size(), quiet))
        return info;
    info.hasCert = true;
    XString subject, issuer, serial, from, to;
    cert.getDN(true, true, subject, quiet, 0);
    cert.getDN(false, true, issuer, quiet, 0);
    cert.get_SerialNumber(serial, quiet);
    cert.get_ValidFromStr(from);
    cert.get_ValidToStr(to);
    info.subject = subject.getUtf8();
    info.issuer = issuer.getUtf8();
    info.serial = serial.getUtf8();
    info.notBefore = from.getUtf8();
    info.notAfter = to.getUtf8();
    DataBuffer sha256;
    StringBuffer hex;
    if (cert.getThumbprint(7, sha256) && sha256.encodeDB("hex", hex)) info.sha256 = hex.str();
    return info;
}

std::string signerSummary(const SignerInfo& signer) {
    const std::string from = "key from " + (signer.source.empty() ? "nowhere" : signer.source);
    if (!signer.hasCert) return from + ", no certificate";
    return "signer " + signer.subject + "; " + from;
}

}  // namespace xmldsig::cli
