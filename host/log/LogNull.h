// A log that discards everything, for attempts whose failure is expected and not reported.
#pragma once

#include "host/log/LogBase.h"

namespace xmldsig {

class LogNull : public LogBase {
  public:
    void LogError(const char*) override {}
    void LogInfo(const char*) override {}
    void LogDataStr(const char*, const char*) override {}
    void enterContext(const char*) override {}
    void leaveContext() override {}
    void logBracketedText(const char*, const char*) override {}
};

}  // namespace xmldsig
