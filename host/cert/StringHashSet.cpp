#include "host/cert/StringHashSet.h"

#include <algorithm>

#include "host/text/StringBuffer.h"

namespace xmldsig {

StringHashSet::StringHashSet(int size) {
    try {
        m_keys.reserve(static_cast<std::size_t>(std::clamp(size, 1, 1000000)));
    } catch (...) {
        // Only a hint: the set still works, growing as keys arrive.
    }
}

bool StringHashSet::hashAddKey(const char* key) {
    try {
        m_keys.insert(key == nullptr ? std::string() : std::string(key));
        return true;
    } catch (...) {
        return false;
    }
}

bool StringHashSet::hashContainsSb(const StringBuffer& key) const {
    return m_keys.count(key.str()) != 0;
}

bool StringHashSet::hashContains(const char* key) const {
    return m_keys.count(key == nullptr ? std::string() : std::string(key)) != 0;
}

}  // namespace xmldsig
