#include "host/cms/TstInfo.h"

#include <string>

#include "host/cms/detail/CmsHandles.h"
#include "host/crypto/detail/OpenSslErrors.h"
#include "host/log/LogBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

bool TstInfo::readMessageImprint(const DataBuffer& der, StringBuffer& hashOid,
                                 DataBuffer& hashedMessage, LogBase& log) {
    hashOid.clear();
    hashedMessage.clear();
    if (der.getSize() > kMaxBytes) {
        const std::string line =
            "The TSTInfo is larger than the cap of " + std::to_string(kMaxBytes) + " bytes.";
        log.LogError(line.c_str());
        log.LogDataLong("tstInfoSize", static_cast<long>(der.getSize()));
        return false;
    }
    detail::clearOpenSslErrors();
    const unsigned char* p = der.getData2();
    detail::TsTstInfoPtr info(d2i_TS_TST_INFO(nullptr, &p, static_cast<long>(der.getSize())));
    if (!info || p != der.getData2() + der.getSize()) {
        log.LogError("The content is not one DER TSTInfo.");
        detail::logOpenSslErrors(log);
        return false;
    }
    TS_MSG_IMPRINT* imprint = TS_TST_INFO_get_msg_imprint(info.get());
    const X509_ALGOR* algorithm = TS_MSG_IMPRINT_get_algo(imprint);
    const ASN1_OBJECT* oid = nullptr;
    X509_ALGOR_get0(&oid, nullptr, nullptr, algorithm);
    char text[128];
    const int len = OBJ_obj2txt(text, sizeof text, oid, 1);
    if (len <= 0 || static_cast<std::size_t>(len) >= sizeof text) {
        log.LogError("The message imprint's hash algorithm is not a readable OID.");
        return false;
    }
    hashOid.append(text);
    const ASN1_OCTET_STRING* message = TS_MSG_IMPRINT_get_msg(imprint);
    hashedMessage.append(ASN1_STRING_get0_data(message),
                         static_cast<std::size_t>(ASN1_STRING_length(message)));
    return true;
}

}  // namespace xmldsig
