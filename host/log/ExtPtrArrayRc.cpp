#include "host/log/ExtPtrArrayRc.h"

#include <exception>

namespace xmldsig {

bool ExtPtrArrayRc::appendRefCounted(RefCountedObject* obj) {
    if (obj == nullptr) return false;
    return replaceRefCountedAt(getSize(), obj);
}

bool ExtPtrArrayRc::replaceRefCountedAt(int index, RefCountedObject* obj) {
    if (index < 0) {
        if (obj != nullptr) obj->decRefCount();
        return false;
    }
    try {
        if (index >= getSize()) m_items.resize(static_cast<std::size_t>(index) + 1, nullptr);
    } catch (const std::exception&) {
        if (obj != nullptr) obj->decRefCount();
        return false;
    }
    RefCountedObject* old = m_items[index];
    m_items[index] = obj;
    if (old != nullptr) old->decRefCount();
    return true;
}

bool ExtPtrArrayRc::removeRefCountedAt(int index) {
    if (index < 0 || index >= getSize()) return false;
    RefCountedObject* obj = m_items[index];
    m_items.erase(m_items.begin() + index);
    if (obj != nullptr) obj->decRefCount();
    return true;
}

void ExtPtrArrayRc::removeAllObjects() {
    std::vector<RefCountedObject*> items;
    items.swap(m_items);  // releasing may run destructors that look at this array
    for (RefCountedObject* obj : items)
        if (obj != nullptr) obj->decRefCount();
}

RefCountedObject* ExtPtrArrayRc::elementAt(int index) const {
    return index >= 0 && index < getSize() ? m_items[index] : nullptr;
}

}  // namespace xmldsig
