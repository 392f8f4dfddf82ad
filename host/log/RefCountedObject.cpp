#include "host/log/RefCountedObject.h"

namespace xmldsig {

RefCountedObject::~RefCountedObject() = default;

void RefCountedObject::incRefCount() {
    m_refCount.fetch_add(1, std::memory_order_relaxed);
}

void RefCountedObject::decRefCount() {
    if (m_refCount.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
}

}  // namespace xmldsig
