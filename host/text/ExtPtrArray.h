// Arrays of owned objects: ExtPtrArray holds TavolinObject pointers (and deletes them when it
// owns them), ExtPtrArraySb holds StringBuffer objects. Indexes are ints; an index outside the
// array reads as null.
#pragma once

#include <memory>
#include <vector>

#include "host/text/StringBuffer.h"
#include "host/text/TavolinObject.h"

namespace xmldsig {

class ExtPtrArray : public TavolinObject {
  public:
    ExtPtrArray() = default;
    ExtPtrArray(const ExtPtrArray&) = delete;
    ExtPtrArray& operator=(const ExtPtrArray&) = delete;
    ~ExtPtrArray() override;  // deletes the elements when it owns them

    std::size_t heapUsage() const override;

    // Owning (the default) arrays delete their elements on removal and destruction.
    void setOwnsObjects(bool owns) { m_owns = owns; }
    bool ownsObjects() const { return m_owns; }

    int getSize() const { return static_cast<int>(m_items.size()); }
    TavolinObject* elementAt(int index) const;
    // The element at index as a StringBuffer (null outside the range or for another type).
    StringBuffer* sbAt(int index) const;
    // Stores obj at index, growing the array with nulls as needed; takes ownership and deletes
    // the element it replaces. False (obj deleted when owning) for a negative index.
    bool setAt(int index, TavolinObject* obj);
    bool appendObject(TavolinObject* obj);  // takes ownership
    // Removes the element and gives it to the caller (null outside the range).
    TavolinObject* removeAt(int index);
    // Removes the element and deletes it when owning.
    void deleteAt(int index);
    void removeAllObjects();  // deletes every element when owning

  private:
    void release(TavolinObject* obj) const;

    std::vector<TavolinObject*> m_items;
    bool m_owns = true;
};

class ExtPtrArraySb : public TavolinObject {
  public:
    ExtPtrArraySb() = default;
    ExtPtrArraySb(const ExtPtrArraySb&) = delete;
    ExtPtrArraySb& operator=(const ExtPtrArraySb&) = delete;
    ~ExtPtrArraySb() override;

    std::size_t heapUsage() const override;

    int getSize() const { return static_cast<int>(m_items.size()); }
    bool appendSb(StringBuffer* sb);  // takes ownership; null is refused
    bool appendString(const char* s);
    StringBuffer* sbAt(int index) const;  // null outside the range
    const char* strAt(int index) const;   // null outside the range
    void removeAt(int index);
    void removeAll();

  private:
    std::vector<std::unique_ptr<StringBuffer>> m_items;
};

}  // namespace xmldsig
