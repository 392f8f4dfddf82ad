// Holds one component object and releases it when destroyed: a reference-counted component
// loses one reference, any other is deleted.
#pragma once

namespace xmldsig {

class ClsBase;

class _clsOwner {
  public:
    explicit _clsOwner(ClsBase* obj = nullptr) : m_pObj(obj) {}
    _clsOwner(const _clsOwner&) = delete;
    _clsOwner& operator=(const _clsOwner&) = delete;
    ~_clsOwner() { reset(nullptr); }

    void reset(ClsBase* obj);  // releases the object held, then holds obj
    ClsBase* release();        // hands the object back without releasing it
    ClsBase* get() const { return m_pObj; }

    ClsBase* m_pObj;
};

}  // namespace xmldsig
