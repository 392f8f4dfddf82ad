// A recursive critical section: the one lock of a component.
#pragma once

#include <mutex>

namespace xmldsig {

class TavolinCritSec {
  public:
    TavolinCritSec() = default;
    TavolinCritSec(const TavolinCritSec&) = delete;
    TavolinCritSec& operator=(const TavolinCritSec&) = delete;
    virtual ~TavolinCritSec();

    void enterCriticalSection() { m_mutex.lock(); }
    void leaveCriticalSection() { m_mutex.unlock(); }

  private:
    std::recursive_mutex m_mutex;
};

}  // namespace xmldsig
