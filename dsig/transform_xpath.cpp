// The XPath transform (XPath 1.0 and XPath Filter 2.0) of a same-document reference.
#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/XPathCases.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig {

bool _clsXmlDSigBase::transformXPath(ClsXml* transform, StringBuffer& xml, StringBuffer& algorithm,
                                     StringBuffer& xpath, LogBase& log) {
    LogContextExitor ctx(log, "transformXPath");
    log.LogDataSb("transformAlgorithm", algorithm);
    log.LogDataSb("xPath", xpath);
    detail::XPathStep step{transform, xml, algorithm, xpath, m_isMyInvois};
    const bool ok = detail::runCommonXPath(step, log);
    log.LogDataBool("transformXPathSuccess", ok);
    return ok;
}

}  // namespace xmldsig
