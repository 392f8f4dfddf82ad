// Base of every component: the component's log (with the verbose flag and uncommon options it
// carries) and its recursive critical section. The component itself is a TavolinCritSec, so a
// public operation locks with `CritSecExitor lock(this)` (or `&m_critSec`, the same section).
#pragma once

#include <string>

#include "host/log/CritSecExitor.h"
#include "host/log/LogBase.h"
#include "host/log/TavolinCritSec.h"
#include "host/log/_tvLogger.h"
#include "host/text/XString.h"

namespace xmldsig {

class ClsBase : public TavolinCritSec {
  public:
    ClsBase();
    ClsBase(const ClsBase&) = delete;
    ClsBase& operator=(const ClsBase&) = delete;
    ~ClsBase() override;

    // Virtual slots of the component base (components do not override them).
    virtual void _toString(XString& out);
    virtual void injectStatus(const char* text, bool success);
    virtual void injectError(const char* context, const char* text);
    virtual void put_UncommonOptions(const XString& options);
    virtual bool get_VerboseLogging();
    virtual void put_VerboseLogging(bool verbose);
    virtual void dotNetDispose();
    virtual void get_DebugLogFilePath(XString& out);
    virtual void put_DebugLogFilePath(const XString& path);

    void get_UncommonOptions(XString& out) const;

    // The log of the last public call, rendered.
    void LastErrorText(XString& out) const;
    std::string lastErrorText() const;
    void LastErrorJson(XString& out) const;
    std::string lastErrorJson() const;

    // Records the outcome of the current public operation: a "Success." or "Failed." line in
    // the current context.
    void logSuccessFailure(bool success);
    static void logSuccessFailure2(bool success, LogBase& log);

    const _tvLogger& logger() const { return m_log; }

  protected:
    _tvLogger m_log;
    TavolinCritSec& m_critSec;  // this component's own section, for `CritSecExitor(&m_critSec)`

  private:
    friend class LogContextExitor;
    unsigned m_publicCallDepth = 0;  // open ClsBase-form LogContextExitors
    XString m_debugLogFilePath;
};

}  // namespace xmldsig
