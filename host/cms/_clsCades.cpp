#include "host/cms/_clsCades.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>

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

namespace {

// The options as a JSON object; false when there are none or they are not one.
bool loadOptions(const StringBuffer& options, ClsJsonObject& out, LogBase& log) {
    StringBuffer text(options);
    text.trim2();
    if (text.isEmpty()) return false;
    if (out.load(text, log)) return true;
    log.LogError("The CMS options are not a JSON object; they are ignored.");
    return false;
}

}  // namespace

bool _clsCades::cmsOptionBool(const char* name, bool dflt, LogBase& log) const {
    ClsJsonObject options;
    if (!loadOptions(m_cmsOptions, options, log)) return dflt;
    bool value = dflt;
    return options.boolOf(name, value) ? value : dflt;
}

int _clsCades::cmsOptionInt(const char* name, int dflt, LogBase& log) const {
    ClsJsonObject options;
    StringBuffer text;
    if (!loadOptions(m_cmsOptions, options, log) || !options.stringOf(name, text)) return dflt;
    const std::string& s = text.str();
    char* end = nullptr;
    errno = 0;
    const long value = std::strtol(s.c_str(), &end, 10);
    if (s.empty() || *end != '\0' || errno != 0 || value < 0 || value > INT_MAX) {
        log.LogError("An option that must be a non-negative integer is not one; it is ignored.");
        log.LogDataSb(name, text);
        return dflt;
    }
    return static_cast<int>(value);
}

}  // namespace xmldsig
