#include "host/log/_clsOwner.h"

#include "host/log/ClsBase.h"
#include "host/log/RefCountedObject.h"

namespace xmldsig {

void _clsOwner::reset(ClsBase* obj) {
    ClsBase* old = m_pObj;
    m_pObj = obj;
    if (old == nullptr || old == obj) return;
    if (auto* counted = dynamic_cast<RefCountedObject*>(old))
        counted->decRefCount();
    else
        delete old;
}

ClsBase* _clsOwner::release() {
    ClsBase* p = m_pObj;
    m_pObj = nullptr;
    return p;
}

}  // namespace xmldsig
