// Holds one counted reference (taken over from the caller) and releases it when destroyed.
#pragma once

#include "host/log/RefCountedObject.h"

namespace xmldsig {

class RefCountedObjectOwner {
  public:
    explicit RefCountedObjectOwner(RefCountedObject* obj = nullptr) : m_pObj(obj) {}
    RefCountedObjectOwner(const RefCountedObjectOwner&) = delete;
    RefCountedObjectOwner& operator=(const RefCountedObjectOwner&) = delete;
    ~RefCountedObjectOwner() { reset(nullptr); }

    // Releases the reference held and takes over obj's.
    void reset(RefCountedObject* obj) {
        if (m_pObj != nullptr && m_pObj != obj) m_pObj->decRefCount();
        m_pObj = obj;
    }
    // Gives the reference back to the caller without releasing it.
    RefCountedObject* release() {
        RefCountedObject* p = m_pObj;
        m_pObj = nullptr;
        return p;
    }
    RefCountedObject* get() const { return m_pObj; }

    RefCountedObject* m_pObj;
};

}  // namespace xmldsig
