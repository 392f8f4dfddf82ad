#include "host/cms/_clsCades.h"

#include "host/cms/ClsHttp.h"
#include "host/cms/ClsJsonObject.h"
#include "host/log/LogBase.h"
#include "host/text/XString.h"

namespace xmldsig {

_clsCades::~_clsCades() {
    if (m_tsaHttp != nullptr) m_tsaHttp->decRefCount();
}

void _clsCades::get_CmsOptions(XString& out) const {
    out.setFromSbUtf8(m_cmsOptions);
}

void _clsCades::put_CmsOptions(const XString& options) {
    m_cmsOptions.setString(options.getUtf8Sb());
}

void _clsCades::setTsaHttpObj(ClsHttp* http, LogBase& log) {
    if (http != nullptr) http->incRefCount();
    if (m_tsaHttp != nullptr) m_tsaHttp->decRefCount();
    m_tsaHttp = http;
    log.LogDataBool("haveHttpObj", http != nullptr);
}

bool _clsCades::cmsOptionBool(const char* name, bool dflt, LogBase& log) const {
    StringBuffer text(m_cmsOptions);
    text.trim2();
    if (text.isEmpty()) return dflt;
    ClsJsonObject options;
    if (!options.load(text, log)) {
        log.LogError("The CMS options are not a JSON object; they are ignored.");
        return dflt;
    }
    bool value = dflt;
    return options.boolOf(name, value) ? value : dflt;
}

}  // namespace xmldsig
