// Owns one TavolinX509. A new holder already holds an empty certificate object, ready to load.
#pragma once

#include <memory>

#include "host/cert/TavolinX509.h"

namespace xmldsig {

class TavolinX509Holder {
  public:
    TavolinX509Holder();
    TavolinX509Holder(const TavolinX509Holder&) = delete;
    TavolinX509Holder& operator=(const TavolinX509Holder&) = delete;
    ~TavolinX509Holder();

    // The held certificate; null only when it could not be created.
    TavolinX509* getX509Ptr() const { return m_x509.get(); }

  private:
    std::unique_ptr<TavolinX509> m_x509;
};

}  // namespace xmldsig
