// Base of shared objects. A new object starts with one reference, owned by its creator; the
// release of the last reference deletes it. The count is atomic.
#pragma once

#include <atomic>

namespace xmldsig {

class RefCountedObject {
  public:
    RefCountedObject() = default;
    RefCountedObject(const RefCountedObject&) = delete;
    RefCountedObject& operator=(const RefCountedObject&) = delete;

    void incRefCount();
    void decRefCount();  // deletes the object when this was the last reference
    int getRefCount() const { return m_refCount.load(std::memory_order_acquire); }

    virtual ~RefCountedObject();  // public so that stack and member objects remain possible

  private:
    std::atomic<int> m_refCount{1};
};

}  // namespace xmldsig
