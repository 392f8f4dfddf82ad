// CMS timestamp tokens as an EncapsulatedTimeStamp carries them: parsed, their signature checked
// (with and without the chain requirement) and the TSTInfo's message imprint read; or the
// TSTInfo reader alone.
#include "FuzzInput.h"
#include "host/cms/CmsSignedData.h"
#include "host/cms/TstInfo.h"
#include "host/cms/_clsCades.h"
#include "host/log/LogNull.h"

using namespace xmldsig;

XMLDSIG_FUZZ_TARGET(cms_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte();
    const DataBuffer der = in.restDb();
    LogNull log;
    StringBuffer oid;
    DataBuffer imprint;
    if (mode & 1) {
        TstInfo::readMessageImprint(der, oid, imprint, log);
        return 0;
    }
    _clsCades cades;
    if (mode & 2) cades.put_CmsOptions(StringBuffer(R"({"VerifyTsaCertChain": true})"));
    CmsSignedData cms;
    const int loadMode =
        (mode & 4) ? CmsSignedData::kModeAnyContentType : CmsSignedData::kModeSignedDataOnly;
    bool detached = false;
    if (!cms.loadPkcs7Der(der, "token", loadMode, &detached, nullptr, log)) return 0;
    DataBuffer content;
    if (cms.verifyOpaqueSignature(content, cades, nullptr, log))
        TstInfo::readMessageImprint(content, oid, imprint, log);
    return 0;
}
