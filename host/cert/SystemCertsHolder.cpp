#include "host/cert/SystemCertsHolder.h"

#include <new>

#include "host/cert/SystemCerts.h"

namespace xmldsig {

SystemCertsHolder::SystemCertsHolder() : m_systemCerts(new (std::nothrow) SystemCerts()) {}

SystemCertsHolder::~SystemCertsHolder() {
    delete m_systemCerts;
}

}  // namespace xmldsig
