#include "host/cms/CmsSignedData.h"

#include <string>
#include <vector>

#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/cms/_clsCades.h"
#include "host/cms/detail/CmsHandles.h"
#include "host/cms/detail/SignerChain.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/text/DataBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

namespace {

using detail::BioPtr;
using detail::X509StackPtr;

std::string objectText(const ASN1_OBJECT* obj) {
    char text[128] = {0};
    if (obj != nullptr) OBJ_obj2txt(text, sizeof text, obj, 1);
    return text;
}

// True when some signer's certificate is not among the structure's own certificates.
bool signerCertMissing(CMS_ContentInfo& cms) {
    CMS_set1_signers_certs(&cms, nullptr, 0);
    ERR_clear_error();  // a signer without a certificate is what we are asking about
    STACK_OF(CMS_SignerInfo)* infos = CMS_get0_SignerInfos(&cms);
    for (int i = 0; i < sk_CMS_SignerInfo_num(infos); ++i) {
        X509* signer = nullptr;
        CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(infos, i), nullptr, &signer, nullptr,
                                 nullptr);
        if (signer == nullptr) return true;
    }
    return false;
}

// The store's certificates, offered to OpenSSL as candidates for signers whose certificate
// the structure does not carry. Null when none are needed or there is no store.
X509StackPtr certsForMissingSigners(CMS_ContentInfo& cms, SystemCerts* store, LogBase& log) {
    if (store == nullptr || !signerCertMissing(cms)) return nullptr;
    log.LogInfo("A signer's certificate is not in the signed data; looking in the store.");
    std::vector<TavolinX509*> all;
    if (!store->getAllCerts(all, log)) return nullptr;
    X509StackPtr certs(sk_X509_new_null());
    for (TavolinX509* c : all) {
        X509* x = c != nullptr ? c->openSslCert() : nullptr;
        if (certs == nullptr || x == nullptr || X509_up_ref(x) != 1) continue;
        if (sk_X509_push(certs.get(), x) <= 0) X509_free(x);
    }
    return certs;
}

void logSigners(CMS_ContentInfo& cms, LogBase& log) {
    STACK_OF(CMS_SignerInfo)* infos = CMS_get0_SignerInfos(&cms);
    for (int i = 0; i < sk_CMS_SignerInfo_num(infos); ++i) {
        X509* signer = nullptr;
        CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(infos, i), nullptr, &signer, nullptr,
                                 nullptr);
        TavolinX509 cert;
        XString subject;
        if (signer != nullptr && cert.loadFromOpenSsl(signer, log) &&
            cert.getDN(true, true, subject, log, 0))
            log.LogDataX("signerCert", subject);
    }
}

bool copyBio(BIO& bio, DataBuffer& out) {
    char* data = nullptr;
    const long n = BIO_get_mem_data(&bio, &data);
    out.clear();
    return n >= 0 && (n == 0 || out.append(data, static_cast<std::size_t>(n)));
}

}  // namespace

void CmsSignedData::CmsFree::operator()(CMS_ContentInfo_st* p) const noexcept {
    CMS_ContentInfo_free(p);
}

CmsSignedData::CmsSignedData() = default;
CmsSignedData::~CmsSignedData() = default;

bool CmsSignedData::loadPkcs7Der(const DataBuffer& der, const char* name, int mode, bool* detached,
                                 SystemCerts* sysCerts, LogBase& log) {
    LogContextExitor ctx(log, "loadPkcs7Der");
    detail::clearOpenSslErrors();
    m_cms.reset();
    m_sysCerts = sysCerts;
    if (name != nullptr) log.LogDataStr("name", name);
    if (der.isEmpty() || der.getSize() > kMaxDerBytes) {
        log.LogError(der.isEmpty() ? "No CMS data." : "The CMS data is too large.");
        return false;
    }
    const unsigned char* p = der.getData2();
    const unsigned char* end = p + der.getSize();
    detail::CmsPtr cms(d2i_CMS_ContentInfo(nullptr, &p, static_cast<long>(der.getSize())));
    if (cms == nullptr) {
        detail::logOpenSslErrors(log);
        log.LogError("The data is not a DER-encoded CMS ContentInfo.");
        return false;
    }
    if (p != end) {
        log.LogError("Unexpected bytes after the CMS ContentInfo.");
        log.LogDataLong("numExtraBytes", static_cast<long>(end - p));
        return false;
    }
    const bool signedData = OBJ_obj2nid(CMS_get0_type(cms.get())) == NID_pkcs7_signed;
    log.LogDataStr("contentInfoType", objectText(CMS_get0_type(cms.get())).c_str());
    if (mode == kModeSignedDataOnly && !signedData) {
        log.LogError("The CMS ContentInfo does not hold signed data.");
        return false;
    }
    if (signedData) {
        ASN1_OCTET_STRING** content = CMS_get0_content(cms.get());
        log.LogDataStr("eContentType", objectText(CMS_get0_eContentType(cms.get())).c_str());
        if (detached != nullptr) *detached = content == nullptr || *content == nullptr;
    }
    m_cms.reset(cms.release());
    return true;
}

bool CmsSignedData::verifyOpaqueSignature(DataBuffer& content, _clsCades& cades,
                                          SystemCerts* sysCerts, LogBase& log) {
    LogContextExitor ctx(log, "verifyOpaqueSignature");
    detail::clearOpenSslErrors();
    CMS_ContentInfo* cms = m_cms.get();
    if (cms == nullptr || OBJ_obj2nid(CMS_get0_type(cms)) != NID_pkcs7_signed) {
        log.LogError("No CMS signed data is loaded.");
        return false;
    }
    if (sysCerts == nullptr) sysCerts = m_sysCerts;
    ASN1_OCTET_STRING** encapsulated = CMS_get0_content(cms);
    if (encapsulated == nullptr || *encapsulated == nullptr) {
        log.LogError("The signed data encapsulates no content (a detached signature).");
        return false;
    }
    if (sk_CMS_SignerInfo_num(CMS_get0_SignerInfos(cms)) <= 0) {
        log.LogError("The signed data has no signer.");
        return false;
    }
    X509StackPtr extra = certsForMissingSigners(*cms, sysCerts, log);
    BioPtr out(BIO_new(BIO_s_mem()));
    if (out == nullptr || CMS_verify(cms, extra.get(), nullptr, nullptr, out.get(),
                                     CMS_NO_SIGNER_CERT_VERIFY | CMS_BINARY) != 1) {
        detail::logOpenSslErrors(log);
        log.LogError("The CMS signature is not valid.");
        return false;
    }
    logSigners(*cms, log);
    DataBuffer extracted;
    if (!copyBio(*out, extracted)) {
        log.LogError("Out of memory copying the signed content.");
        return false;
    }
    const bool checkChain = cades.cmsOptionBool("VerifyTsaCertChain", false, log);
    log.LogDataBool("verifyTsaCertChain", checkChain);
    if (checkChain && !detail::verifySignerChains(*cms, extra.get(), extracted, sysCerts, log)) {
        return false;
    }
    log.LogInfo("The CMS signature is valid.");
    content.clear();
    content.append(extracted);
    return true;
}

}  // namespace xmldsig
