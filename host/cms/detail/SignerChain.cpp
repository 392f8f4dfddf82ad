#include "host/cms/detail/SignerChain.h"

#include <ctime>
#include <optional>
#include <vector>

#include "host/cert/SystemCerts.h"
#include "host/cert/TavolinX509.h"
#include "host/cms/detail/CmsHandles.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig::detail {

namespace {

bool isTimestampToken(CMS_ContentInfo& cms) {
    const ASN1_OBJECT* type = CMS_get0_eContentType(&cms);
    return type != nullptr && OBJ_obj2nid(type) == NID_id_smime_ct_TSTInfo;
}

}  // namespace

std::optional<std::time_t> timestampTokenTime(const DataBuffer& tstInfo) {
    const unsigned char* p = tstInfo.getData2();
    TsTstInfoPtr info(d2i_TS_TST_INFO(nullptr, &p, static_cast<long>(tstInfo.getSize())));
    if (info == nullptr) return std::nullopt;
    std::tm tm{};
    if (ASN1_TIME_to_tm(TS_TST_INFO_get_time(info.get()), &tm) != 1) return std::nullopt;
    return timegm(&tm);
}

namespace {

// Every certificate of the store as an OpenSSL store of trust anchors. Any of them may end a
// chain: a vault can hold an intermediate the caller trusts.
X509StorePtr trustStoreOf(SystemCerts& store, LogBase& log) {
    std::vector<TavolinX509*> certs;
    if (!store.getAllCerts(certs, log)) return nullptr;
    X509StorePtr x509Store(X509_STORE_new());
    if (x509Store == nullptr) return nullptr;
    for (TavolinX509* c : certs) {
        if (c != nullptr && c->openSslCert() != nullptr)
            X509_STORE_add_cert(x509Store.get(), c->openSslCert());
    }
    ERR_clear_error();  // duplicates are reported as errors and do not matter
    X509_STORE_set_flags(x509Store.get(), X509_V_FLAG_PARTIAL_CHAIN);
    log.LogDataLong("numTrustedCerts", static_cast<long>(certs.size()));
    return x509Store;
}

// The untrusted links: the structure's own certificates and the caller's extra ones.
X509StackPtr untrustedCerts(CMS_ContentInfo& cms, STACK_OF(X509) * extra) {
    X509StackPtr all(CMS_get1_certs(&cms));
    if (all == nullptr) all.reset(sk_X509_new_null());
    if (all == nullptr) return nullptr;
    for (int i = 0; extra != nullptr && i < sk_X509_num(extra); ++i) {
        X509* c = sk_X509_value(extra, i);
        if (X509_up_ref(c) != 1) return nullptr;
        if (sk_X509_push(all.get(), c) <= 0) {
            X509_free(c);
            return nullptr;
        }
    }
    return all;
}

bool verifyOneChain(X509_STORE& trusted, X509& signer, STACK_OF(X509) * untrusted, int purpose,
                    const std::optional<std::time_t>& at, LogBase& log) {
    X509StoreCtxPtr ctx(X509_STORE_CTX_new());
    if (ctx == nullptr || X509_STORE_CTX_init(ctx.get(), &trusted, &signer, untrusted) != 1) {
        logOpenSslErrors(log);
        return false;
    }
    X509_STORE_CTX_set_purpose(ctx.get(), purpose);
    if (at) X509_STORE_CTX_set_time(ctx.get(), 0, *at);
    if (X509_verify_cert(ctx.get()) == 1) return true;
    const int err = X509_STORE_CTX_get_error(ctx.get());
    log.LogDataStr("certVerifyError", X509_verify_cert_error_string(err));
    log.LogDataLong("certVerifyErrorDepth", X509_STORE_CTX_get_error_depth(ctx.get()));
    return false;
}

}  // namespace

bool verifySignerChains(CMS_ContentInfo& cms, STACK_OF(X509) * certs, const DataBuffer& content,
                        SystemCerts* store, LogBase& log) {
    LogContextExitor ctx(log, "verifySignerChains");
    if (store == nullptr) {
        log.LogError("No certificate store to check the signer's chain against.");
        return false;
    }
    X509StorePtr trusted = trustStoreOf(*store, log);
    X509StackPtr untrusted = untrustedCerts(cms, certs);
    if (trusted == nullptr || untrusted == nullptr) {
        log.LogError("Out of memory building the certificate chain.");
        return false;
    }
    const bool token = isTimestampToken(cms);
    const int purpose = token ? X509_PURPOSE_TIMESTAMP_SIGN : X509_PURPOSE_ANY;
    std::optional<std::time_t> at;
    if (token) {
        at = timestampTokenTime(content);
        if (!at) {
            log.LogError("Cannot read the time of the timestamp token.");
            return false;
        }
    }
    STACK_OF(CMS_SignerInfo)* infos = CMS_get0_SignerInfos(&cms);
    for (int i = 0; i < sk_CMS_SignerInfo_num(infos); ++i) {
        X509* signer = nullptr;
        CMS_SignerInfo_get0_algs(sk_CMS_SignerInfo_value(infos, i), nullptr, &signer, nullptr,
                                 nullptr);
        if (signer == nullptr ||
            !verifyOneChain(*trusted, *signer, untrusted.get(), purpose, at, log)) {
            log.LogError("The signer's certificate does not chain to a trusted certificate.");
            return false;
        }
    }
    log.LogInfo("Every signer's certificate chains to a trusted certificate.");
    return true;
}

}  // namespace xmldsig::detail
