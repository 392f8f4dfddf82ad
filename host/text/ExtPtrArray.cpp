#include "host/text/ExtPtrArray.h"

#include <new>

namespace xmldsig {

ExtPtrArray::~ExtPtrArray() {
    removeAllObjects();
}

std::size_t ExtPtrArray::heapUsage() const {
    std::size_t total = m_items.capacity() * sizeof(TavolinObject*);
    for (const TavolinObject* obj : m_items)
        if (obj != nullptr) total += obj->heapUsage();
    return total;
}

void ExtPtrArray::release(TavolinObject* obj) const {
    if (m_owns) delete obj;
}

TavolinObject* ExtPtrArray::elementAt(int index) const {
    return index >= 0 && index < getSize() ? m_items[index] : nullptr;
}

StringBuffer* ExtPtrArray::sbAt(int index) const {
    return dynamic_cast<StringBuffer*>(elementAt(index));
}

bool ExtPtrArray::setAt(int index, TavolinObject* obj) {
    if (index < 0) {
        release(obj);
        return false;
    }
    try {
        if (index >= getSize()) m_items.resize(static_cast<std::size_t>(index) + 1, nullptr);
    } catch (const std::exception&) {
        release(obj);
        return false;
    }
    if (m_items[index] != obj) release(m_items[index]);
    m_items[index] = obj;
    return true;
}

bool ExtPtrArray::appendObject(TavolinObject* obj) {
    return setAt(getSize(), obj);
}

TavolinObject* ExtPtrArray::removeAt(int index) {
    TavolinObject* obj = elementAt(index);
    if (index >= 0 && index < getSize()) m_items.erase(m_items.begin() + index);
    return obj;
}

void ExtPtrArray::deleteAt(int index) {
    release(removeAt(index));
}

void ExtPtrArray::removeAllObjects() {
    std::vector<TavolinObject*> items;
    items.swap(m_items);
    for (TavolinObject* obj : items) release(obj);
}

ExtPtrArraySb::~ExtPtrArraySb() = default;

std::size_t ExtPtrArraySb::heapUsage() const {
    std::size_t total = m_items.capacity() * sizeof(void*);
    for (const auto& sb : m_items) total += sizeof(StringBuffer) + sb->heapUsage();
    return total;
}

bool ExtPtrArraySb::appendSb(StringBuffer* sb) {
    std::unique_ptr<StringBuffer> owned(sb);
    if (!owned) return false;
    try {
        m_items.push_back(std::move(owned));
    } catch (const std::exception&) {
        return false;  // `owned` still holds sb and frees it
    }
    return true;
}

bool ExtPtrArraySb::appendString(const char* s) {
    auto* sb = new (std::nothrow) StringBuffer();
    if (sb == nullptr) return false;
    if (!sb->append(s)) {
        delete sb;
        return false;
    }
    return appendSb(sb);
}

StringBuffer* ExtPtrArraySb::sbAt(int index) const {
    return index >= 0 && index < getSize() ? m_items[index].get() : nullptr;
}

const char* ExtPtrArraySb::strAt(int index) const {
    const StringBuffer* sb = sbAt(index);
    return sb == nullptr ? nullptr : sb->getString();
}

void ExtPtrArraySb::removeAt(int index) {
    if (index >= 0 && index < getSize()) m_items.erase(m_items.begin() + index);
}

void ExtPtrArraySb::removeAll() {
    m_items.clear();
}

}  // namespace xmldsig
