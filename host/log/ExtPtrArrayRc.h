// An array of counted references. Adding takes over the caller's reference; removing,
// replacing and destroying release them. elementAt lends a pointer without a reference.
#pragma once

#include <vector>

#include "host/log/RefCountedObject.h"

namespace xmldsig {

class ExtPtrArrayRc {
  public:
    ExtPtrArrayRc() = default;
    ExtPtrArrayRc(const ExtPtrArrayRc&) = delete;
    ExtPtrArrayRc& operator=(const ExtPtrArrayRc&) = delete;
    ~ExtPtrArrayRc() { removeAllObjects(); }

    bool appendRefCounted(RefCountedObject* obj);  // null is refused
    // Puts obj at index (growing with nulls as needed), releasing the element it replaces.
    bool replaceRefCountedAt(int index, RefCountedObject* obj);
    bool removeRefCountedAt(int index);  // releases it; false outside the range
    void removeAllObjects();
    int getSize() const { return static_cast<int>(m_items.size()); }
    RefCountedObject* elementAt(int index) const;  // borrowed; null outside the range

  private:
    std::vector<RefCountedObject*> m_items;
};

}  // namespace xmldsig
