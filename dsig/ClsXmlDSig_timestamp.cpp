// XAdES signature timestamps.
#include "dsig/ClsXmlDSig.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig {

// Timestamp tokens are not checked yet: asking for the check must not pass a signature whose
// timestamp nobody looked at, so it fails closed and says so.
bool ClsXmlDSig::verifyEncapsulatedTimeStamp(const StringBuffer&, ClsXml&, LogBase& log) {
    LogContextExitor ctx(log, "verifyEncapsulatedTimeStamp");
    log.LogError("Checking encapsulated timestamps is not available in this version.");
    return false;
}

}  // namespace xmldsig
