// The client side of RFC 3161: a timestamp request over the hash of some data, sent to the
// authority over HTTP, and the token taken from a reply that grants and matches it.
#include <openssl/rand.h>

#include <string>

#include "host/cms/ClsHttp.h"
#include "host/cms/ClsJsonObject.h"
#include "host/cms/CmsSignedData.h"
#include "host/cms/_clsCades.h"
#include "host/cms/detail/CmsHandles.h"
#include "host/crypto/_tvHash.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

namespace {

using namespace detail;

struct TsaOptions {
    StringBuffer url;
    int hashId = 7;  // SHA-256
    bool requestCert = true;
    StringBuffer policyOid;
};

bool readTsaOptions(ClsJsonObject& json, TsaOptions& opts, LogBase& log) {
    if (!json.stringOf("timestampToken.tsaUrl", opts.url) || opts.url.isEmpty()) {
        log.LogError("No timestamp authority URL (timestampToken.tsaUrl).");
        return false;
    }
    log.LogDataSb("tsaUrl", opts.url);
    StringBuffer hashName;
    if (json.stringOf("timestampToken.hashAlg", hashName)) {
        opts.hashId = _tvHash::hashAlgFromName(hashName.getString());
        if (opts.hashId == 0) {
            log.LogError("Unknown timestamp hash algorithm.");
            log.LogDataSb("hashAlg", hashName);
            return false;
        }
    }
    log.LogDataStr("hashAlg", _tvHash::hashName(opts.hashId));
    json.boolOf("timestampToken.requestTsaCert", opts.requestCert);
    log.LogDataBool("requestTsaCert", opts.requestCert);
    json.stringOf("timestampToken.policyOid", opts.policyOid);
    if (!opts.policyOid.isEmpty()) log.LogDataSb("policyOid", opts.policyOid);
    return true;
}

// A random 64-bit nonce, so that a replayed reply is told apart from the answer to this request.
Asn1IntegerPtr newNonce() {
    unsigned char bytes[8];
    if (RAND_bytes(bytes, sizeof bytes) != 1) return nullptr;
    BignumPtr bn(BN_bin2bn(bytes, sizeof bytes, nullptr));
    return Asn1IntegerPtr(bn != nullptr ? BN_to_ASN1_INTEGER(bn.get(), nullptr) : nullptr);
}

TsMsgImprintPtr newImprint(int hashId, const DataBuffer& hash) {
    Asn1ObjectPtr oid(OBJ_txt2obj(_tvHash::hashOid(hashId), 1));
    X509AlgorPtr algo(X509_ALGOR_new());
    TsMsgImprintPtr imprint(TS_MSG_IMPRINT_new());
    if (oid == nullptr || algo == nullptr || imprint == nullptr ||
        X509_ALGOR_set0(algo.get(), oid.get(), V_ASN1_NULL, nullptr) != 1)
        return nullptr;
    oid.release();  // now owned by algo
    if (TS_MSG_IMPRINT_set_algo(imprint.get(), algo.get()) != 1 ||
        TS_MSG_IMPRINT_set_msg(imprint.get(), const_cast<unsigned char*>(hash.getData2()),
                               static_cast<int>(hash.getSize())) != 1)
        return nullptr;
    return imprint;
}

TsReqPtr newRequest(const TsaOptions& opts, const DataBuffer& hash, LogBase& log) {
    TsReqPtr req(TS_REQ_new());
    TsMsgImprintPtr imprint = newImprint(opts.hashId, hash);
    Asn1IntegerPtr nonce = newNonce();
    if (req == nullptr || imprint == nullptr || nonce == nullptr ||
        TS_REQ_set_version(req.get(), 1) != 1 ||
        TS_REQ_set_msg_imprint(req.get(), imprint.get()) != 1 ||
        TS_REQ_set_nonce(req.get(), nonce.get()) != 1 ||
        TS_REQ_set_cert_req(req.get(), opts.requestCert ? 1 : 0) != 1) {
        logOpenSslErrors(log);
        log.LogError("Failed to build the timestamp request.");
        return nullptr;
    }
    if (!opts.policyOid.isEmpty()) {
        Asn1ObjectPtr policy(OBJ_txt2obj(opts.policyOid.getString(), 1));
        if (policy == nullptr || TS_REQ_set_policy_id(req.get(), policy.get()) != 1) {
            ERR_clear_error();
            log.LogError("The timestamp policy is not a dotted OID.");
            return nullptr;
        }
    }
    return req;
}

bool encodeRequest(TS_REQ& req, DataBuffer& out) {
    unsigned char* der = nullptr;
    const int n = i2d_TS_REQ(&req, &der);
    OpenSslBytesPtr owned(der);
    return n > 0 && out.append(der, static_cast<std::size_t>(n));
}

void logStatus(TS_RESP& resp, LogBase& log) {
    TS_STATUS_INFO* info = TS_RESP_get_status_info(&resp);
    if (info == nullptr) return;
    log.LogDataLong("tsaStatus", ASN1_INTEGER_get(TS_STATUS_INFO_get0_status(info)));
    const STACK_OF(ASN1_UTF8STRING)* texts = TS_STATUS_INFO_get0_text(info);
    for (int i = 0; i < sk_ASN1_UTF8STRING_num(texts); ++i) {
        const ASN1_UTF8STRING* t = sk_ASN1_UTF8STRING_value(texts, i);
        log.LogDataStr("tsaStatusText",
                       std::string(reinterpret_cast<const char*>(ASN1_STRING_get0_data(t)),
                                   static_cast<std::size_t>(ASN1_STRING_length(t)))
                           .c_str());
    }
}

// The token of a reply that grants the request and answers it (same imprint, nonce, policy).
bool tokenFromReply(TS_REQ& req, const DataBuffer& reply, DataBuffer& token, LogBase& log) {
    const unsigned char* p = reply.getData2();
    const unsigned char* end = p + reply.getSize();
    TsRespPtr resp(reply.isEmpty() ? nullptr
                                   : d2i_TS_RESP(nullptr, &p, static_cast<long>(reply.getSize())));
    if (resp == nullptr || p != end) {
        logOpenSslErrors(log);
        log.LogError("The timestamp authority's reply is not a DER TimeStampResp.");
        return false;
    }
    logStatus(*resp, log);
    // The token's signature is the verifier's business; here the reply must answer this
    // request. The nonce is always sent, a policy only when asked for.
    TsVerifyCtxPtr check(TS_REQ_to_TS_VERIFY_CTX(&req, nullptr));
    const int flags = TS_VFY_VERSION | TS_VFY_IMPRINT | TS_VFY_NONCE |
                      (TS_REQ_get_policy_id(&req) != nullptr ? TS_VFY_POLICY : 0);
    if (check == nullptr || TS_VERIFY_CTX_set_flags(check.get(), flags) != flags ||
        TS_RESP_verify_response(check.get(), resp.get()) != 1) {
        logOpenSslErrors(log);
        log.LogError("The timestamp reply does not grant or does not match the request.");
        return false;
    }
    unsigned char* der = nullptr;
    const int n = i2d_PKCS7(TS_RESP_get_token(resp.get()), &der);
    OpenSslBytesPtr owned(der);
    if (n <= 0 || !token.append(der, static_cast<std::size_t>(n))) {
        log.LogError("The timestamp reply holds no token.");
        return false;
    }
    log.LogDataLong("timestampTokenSize", n);
    return true;
}

}  // namespace

bool CmsSignedData::getTimestampToken(ClsJsonObject& json, const DataBuffer& data, _clsCades& cades,
                                      DataBuffer& token, LogBase& log) {
    LogContextExitor ctx(log, "getTimestampToken");
    clearOpenSslErrors();
    token.clear();
    TsaOptions opts;
    if (!readTsaOptions(json, opts, log)) return false;
    DataBuffer hash;
    if (!_tvHash::doHash(data.getData2(), data.getSize(), opts.hashId, hash)) {
        log.LogError("Failed to hash the data to timestamp.");
        return false;
    }
    log.LogDataHexDb("messageImprint", hash);
    TsReqPtr req = newRequest(opts, hash, log);
    DataBuffer request, reply;
    if (req == nullptr || !encodeRequest(*req, request)) return false;

    ClsHttp* http = cades.tsaHttpObj();
    ClsHttp fallback;
    if (http == nullptr) http = &fallback;
    if (!http->postBinary(opts.url.getString(), request, "application/timestamp-query",
                          "application/timestamp-reply", reply, log)) {
        log.LogError("The timestamp request failed.");
        return false;
    }
    return tokenFromReply(*req, reply, token, log);
}

}  // namespace xmldsig
