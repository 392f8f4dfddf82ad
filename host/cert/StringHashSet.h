// A set of strings with exact, case-sensitive membership, used to remember which certificates
// a walk over KeyInfo has already seen.
#pragma once

#include <cstddef>
#include <string>
#include <unordered_set>

namespace xmldsig {

class StringBuffer;

class StringHashSet {
  public:
    // size is the expected number of keys (a hint; values below 1 or above 1 000 000 are
    // clamped); the set grows past it as needed.
    explicit StringHashSet(int size);

    // Adds the key (a null key counts as ""); adding a present key again changes nothing.
    // False only when memory runs out.
    bool hashAddKey(const char* key);
    bool hashContainsSb(const StringBuffer& key) const;
    bool hashContains(const char* key) const;
    std::size_t hashSize() const { return m_keys.size(); }
    void hashClear() { m_keys.clear(); }

  private:
    std::unordered_set<std::string> m_keys;
};

}  // namespace xmldsig
