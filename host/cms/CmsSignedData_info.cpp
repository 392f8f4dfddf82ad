// What a verified CMS structure tells about itself: its signer's certificate, the certificates
// it carries, and for a timestamp token the time the authority vouches for.
#include <openssl/cms.h>

#include "host/cms/CmsSignedData.h"
#include "host/cms/detail/CmsHandles.h"
#include "host/cms/detail/SignerChain.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

namespace {

bool appendDer(X509* cert, DataBuffer& out) {
    unsigned char* der = nullptr;
    const int n = cert != nullptr ? i2d_X509(cert, &der) : -1;
    if (n <= 0) return false;
    const bool ok = out.append(der, static_cast<std::size_t>(n));
    OPENSSL_free(der);
    return ok;
}

}  // namespace

bool CmsSignedData::getSignerCertDer(DataBuffer& out) const {
    out.clear();
    if (m_cms == nullptr) return false;
    STACK_OF(CMS_SignerInfo)* infos = CMS_get0_SignerInfos(m_cms.get());
    if (sk_CMS_SignerInfo_num(infos) <= 0) return false;
    X509* signer = nullptr;
    CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(infos, 0), nullptr, &signer, nullptr, nullptr);
    return appendDer(signer, out);
}

bool CmsSignedData::getCertsDer(std::vector<DataBuffer>& out) const {
    if (m_cms == nullptr) return false;
    detail::X509StackPtr certs(CMS_get1_certs(m_cms.get()));
    for (int i = 0; certs != nullptr && i < sk_X509_num(certs.get()); ++i) {
        out.emplace_back();
        if (!appendDer(sk_X509_value(certs.get(), i), out.back())) out.pop_back();
    }
    return true;
}

bool CmsSignedData::timestampTime(const DataBuffer& tstInfo, std::time_t& out) {
    const std::optional<std::time_t> t = detail::timestampTokenTime(tstInfo);
    if (t) out = *t;
    return t.has_value();
}

}  // namespace xmldsig
