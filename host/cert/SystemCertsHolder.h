// Base of components that search certificate stores: owns the component's SystemCerts store.
// The store holds the vaults the caller adds, then the system trust store.
#pragma once

namespace xmldsig {

class SystemCerts;

class SystemCertsHolder {
  public:
    SystemCertsHolder();
    SystemCertsHolder(const SystemCertsHolder&) = delete;
    SystemCertsHolder& operator=(const SystemCertsHolder&) = delete;
    virtual ~SystemCertsHolder();

  protected:
    // Owned. Null when it could not be created, so every use tests it first.
    SystemCerts* m_systemCerts = nullptr;
};

}  // namespace xmldsig
