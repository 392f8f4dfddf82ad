// A JSON object a caller fills and hands to a component as a bag of options (the timestamp
// authority's URL, the hash algorithm...). Members are named by dotted paths:
// "timestampToken.tsaUrl" is member tsaUrl of the object in member timestampToken. Nothing
// throws: malformed JSON, paths through a non-object and exhausted memory give false.
#pragma once

#include <cstddef>
#include <memory>

#include "host/log/ClsBase.h"

namespace xmldsig {

class StringBuffer;
class XString;

class ClsJsonObject : public ClsBase {
  public:
    // Largest JSON text accepted, and deepest nesting of objects and arrays.
    static constexpr std::size_t kMaxJsonBytes = 1u << 20;
    static constexpr int kMaxDepth = 64;

    // Null (never an exception) when construction fails.
    static ClsJsonObject* createNewCls();
    ClsJsonObject();
    ~ClsJsonObject() override;

    // Replaces the content with the object that json holds. False, content unchanged, when the
    // text is not one JSON object or passes the limits above.
    bool Load(const XString& json);
    // Set a member, creating the objects on its path; false when a step of the path is a
    // member that is not an object, or the path is malformed (empty, or an empty name).
    bool UpdateString(const XString& path, const XString& value);
    bool UpdateBool(const XString& path, bool value);
    bool UpdateInt(const XString& path, int value);
    bool HasMember(const XString& path);
    // A string member as it is, a number or boolean as JSON writes it; false when the member
    // is missing, null, an object or an array.
    bool StringOf(const XString& path, XString& out);
    // A boolean member, or a string "true"/"false" (ASCII case ignored); false otherwise.
    bool BoolOf(const XString& path, bool& out);
    // The object as compact JSON text.
    bool Emit(XString& out);

    // The same for our own code, with the reason of a failure in log.
    bool load(const StringBuffer& text, LogBase& log);
    bool stringOf(const char* path, StringBuffer& out);
    bool boolOf(const char* path, bool& out);
    bool hasMember(const char* path);

  private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

}  // namespace xmldsig
