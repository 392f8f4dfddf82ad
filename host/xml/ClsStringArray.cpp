#include "host/xml/ClsStringArray.h"

#include <new>

namespace xmldsig {

bool ClsStringArray::appendUtf8(const char* s) {
    if (s == nullptr) return false;
    try {
        m_items.emplace_back(s);
    } catch (const std::bad_alloc&) {
        return false;
    }
    return true;
}

const char* ClsStringArray::getString(int index) const {
    if (index < 0 || static_cast<std::size_t>(index) >= m_items.size()) return nullptr;
    return m_items[static_cast<std::size_t>(index)].c_str();
}

}  // namespace xmldsig
