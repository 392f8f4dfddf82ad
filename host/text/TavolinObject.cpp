#include "host/text/TavolinObject.h"

namespace xmldsig {

TavolinObject::~TavolinObject() = default;

std::size_t TavolinObject::heapUsage() const {
    return 0;
}

}  // namespace xmldsig
