#include "host/cert/TavolinX509Holder.h"

#include <new>

namespace xmldsig {

TavolinX509Holder::TavolinX509Holder() : m_x509(new (std::nothrow) TavolinX509()) {}

TavolinX509Holder::~TavolinX509Holder() = default;

}  // namespace xmldsig
