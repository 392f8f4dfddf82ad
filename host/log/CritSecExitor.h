// Holds a critical section for the lifetime of the object (null: no lock).
#pragma once

#include "host/log/TavolinCritSec.h"

namespace xmldsig {

class CritSecExitor {
  public:
    explicit CritSecExitor(TavolinCritSec* cs) : m_cs(cs) {
        if (m_cs != nullptr) m_cs->enterCriticalSection();
    }
    CritSecExitor(const CritSecExitor&) = delete;
    CritSecExitor& operator=(const CritSecExitor&) = delete;
    ~CritSecExitor() {
        if (m_cs != nullptr) m_cs->leaveCriticalSection();
    }

  private:
    TavolinCritSec* m_cs;
};

}  // namespace xmldsig
