// Owning pointers for the OpenSSL CMS and RFC 3161 objects the CMS services use. The general
// ones (X509Ptr, BioPtr...) and the store handles live in host/crypto and host/cert.
#pragma once

#include <openssl/cms.h>
#include <openssl/pkcs7.h>
#include <openssl/ts.h>

#include <memory>

#include "host/cert/detail/CertHandles.h"

namespace xmldsig::detail {

using CmsPtr = std::unique_ptr<CMS_ContentInfo, FreeWith<&CMS_ContentInfo_free>>;
using Pkcs7Ptr = std::unique_ptr<PKCS7, FreeWith<&PKCS7_free>>;
using TsReqPtr = std::unique_ptr<TS_REQ, FreeWith<&TS_REQ_free>>;
using TsRespPtr = std::unique_ptr<TS_RESP, FreeWith<&TS_RESP_free>>;
using TsMsgImprintPtr = std::unique_ptr<TS_MSG_IMPRINT, FreeWith<&TS_MSG_IMPRINT_free>>;
using TsVerifyCtxPtr = std::unique_ptr<TS_VERIFY_CTX, FreeWith<&TS_VERIFY_CTX_free>>;
using TsTstInfoPtr = std::unique_ptr<TS_TST_INFO, FreeWith<&TS_TST_INFO_free>>;
using X509AlgorPtr = std::unique_ptr<X509_ALGOR, FreeWith<&X509_ALGOR_free>>;
using Asn1IntegerPtr = std::unique_ptr<ASN1_INTEGER, FreeWith<&ASN1_INTEGER_free>>;

}  // namespace xmldsig::detail
