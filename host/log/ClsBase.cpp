#include "host/log/ClsBase.h"

namespace xmldsig {

ClsBase::ClsBase() : m_critSec(*this) {}

ClsBase::~ClsBase() = default;

void ClsBase::_toString(XString& out) {
    out.setFromUtf8("");
}

void ClsBase::injectStatus(const char* text, bool success) {
    m_log.LogInfo(text);
    logSuccessFailure(success);
}

void ClsBase::injectError(const char* context, const char* text) {
    LogContextExitor ctx(m_log, context);
    m_log.LogError(text);
}

void ClsBase::put_UncommonOptions(const XString& options) {
    CritSecExitor lock(this);
    m_log.m_uncommonOptions.setString(options.getUtf8Sb());
}

void ClsBase::get_UncommonOptions(XString& out) const {
    out.setFromSbUtf8(m_log.m_uncommonOptions);
}

bool ClsBase::get_VerboseLogging() {
    return m_log.m_verboseLogging;
}

void ClsBase::put_VerboseLogging(bool verbose) {
    m_log.m_verboseLogging = verbose;
}

void ClsBase::dotNetDispose() {}

void ClsBase::get_DebugLogFilePath(XString& out) {
    out.copyFromX(m_debugLogFilePath);
}

void ClsBase::put_DebugLogFilePath(const XString& path) {
    m_debugLogFilePath.copyFromX(path);
}

void ClsBase::LastErrorText(XString& out) const {
    StringBuffer text;
    m_log.renderText(text);
    out.setFromSbUtf8(text);
}

std::string ClsBase::lastErrorText() const {
    return m_log.renderText();
}

void ClsBase::LastErrorJson(XString& out) const {
    out.setFromUtf8(m_log.renderJson().c_str());
}

std::string ClsBase::lastErrorJson() const {
    return m_log.renderJson();
}

void ClsBase::logSuccessFailure(bool success) {
    logSuccessFailure2(success, m_log);
}

void ClsBase::logSuccessFailure2(bool success, LogBase& log) {
    log.LogInfo(success ? "Success." : "Failed.");
}

}  // namespace xmldsig
