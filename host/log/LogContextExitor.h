// Opens a named log context for the lifetime of the object. The ClsBase form opens it on the
// component's own log, and when it is the outermost public call on that component it first
// starts a fresh log tree (verbose flag and uncommon options survive); nested public calls add
// a context to the running tree.
#pragma once

namespace xmldsig {

class ClsBase;
class LogBase;

class LogContextExitor {
  public:
    LogContextExitor(LogBase& log, const char* name);
    LogContextExitor(ClsBase& component, const char* name);
    LogContextExitor(const LogContextExitor&) = delete;
    LogContextExitor& operator=(const LogContextExitor&) = delete;
    ~LogContextExitor();

  private:
    LogBase* m_log = nullptr;
    ClsBase* m_component = nullptr;
};

}  // namespace xmldsig
