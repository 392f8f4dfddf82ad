// Base of components that search certificate stores. The stores themselves (the vaults a caller
// adds, then the system trust store) are attached here as certificate support grows.
#pragma once

namespace xmldsig {

class SystemCertsHolder {
  public:
    virtual ~SystemCertsHolder() = default;
};

}  // namespace xmldsig
