// Root class of owned, non-counted library objects (the element type of ExtPtrArray).
#pragma once

#include <cstddef>

namespace xmldsig {

class TavolinObject {
  public:
    TavolinObject() = default;
    TavolinObject(const TavolinObject&) = default;
    TavolinObject& operator=(const TavolinObject&) = default;
    virtual ~TavolinObject();

    // Bytes this object holds on the heap (an estimate, for diagnostics).
    virtual std::size_t heapUsage() const;
};

}  // namespace xmldsig
