// A document loaded and every signature (up to four) verified, under the option set that the
// first input byte picks: family modes, the timestamp check, the digest-error tolerance, the
// verify options (TSA chain, lowered work caps), a pinned key, an HMAC key.
#include <algorithm>
#include <memory>

#include "FuzzInput.h"
#include "dsig/ClsXmlDSig.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringArray.h"
#include "host/xml/ClsXml.h"

using namespace xmldsig;

namespace {

const char kPinnedKey[] =
    "-----BEGIN PUBLIC KEY-----\n"
    "MFkwEwYHKoZIzj0CAQYIKoZIzj0DAQcDQgAEeXsVgIAg+w3dzklCo+FXJLFikWz+\n"
    "UWUOtcF/VSq5szteRaLmTajHpvhv9gZ7s6H6Fh6V/XTmphw5XMK/jwZ3BQ==\n"
    "-----END PUBLIC KEY-----\n";

const char* const kUncommon[] = {"",
                                 "ZATCA",
                                 "MYINVOIS",
                                 "VerifyEncapsulatedTimeStamp",
                                 "AllowXmlDigestError",
                                 "ZATCA,VerifyEncapsulatedTimeStamp",
                                 "MYINVOIS,AllowXmlDigestError",
                                 "VerifyEncapsulatedTimeStamp,MYINVOIS"};

void verifyAll(ClsXmlDSig& dsig, uint8_t mode) {
    const int n = std::min(dsig.get_NumSignatures(), 4);
    for (int i = 0; i < n; ++i) {
        dsig.put_Selector(i);
        dsig.VerifySignature((mode & 0x80) == 0);
        if (mode & 0x80) {
            dsig.HasEncapsulatedTimeStamp();
            ClsStringArray certs;
            dsig.GetCerts(certs);
            if (ClsXml* keyInfo = dsig.GetKeyInfo()) keyInfo->decRefCount();
            if (ClsPublicKey* key = dsig.GetPublicKey()) key->decRefCount();
        }
    }
}

}  // namespace

XMLDSIG_FUZZ_TARGET(verify_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte();
    std::unique_ptr<ClsXmlDSig> dsig(ClsXmlDSig::createNewCls());
    if (!dsig) return 0;
    dsig->put_UncommonOptions(XString(kUncommon[mode & 7]));
    if (mode & 0x08)
        dsig->put_VerifyOptions(
            XString(R"({"VerifyTsaCertChain": true, "MaxReferences": 4, "MaxTransforms": 3})"));
    if (mode & 0x10) {
        ClsPublicKey* key = ClsPublicKey::createNewCls();
        if (key != nullptr && key->LoadPem(XString(kPinnedKey))) dsig->SetPublicKey(*key);
        if (key != nullptr) key->decRefCount();
    }
    if (mode & 0x20) {
        XString secret("secret");
        dsig->SetHmacKey(secret, XString("ascii"));
    }
    dsig->put_IgnoreExternalRefs((mode & 0x40) != 0);
    ClsBinData doc;
    doc.m_data.append(in.data(), in.size());
    if (dsig->LoadSignatureBd(doc)) verifyAll(*dsig, mode);
    return 0;
}
