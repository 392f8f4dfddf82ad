#include "host/cms/ClsJsonObject.h"

#include <algorithm>
#include <new>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

using Json = nlohmann::json;

struct ClsJsonObject::Impl {
    Json root = Json::object();
};

namespace {

// Deepest nesting of objects and arrays in the text, strings skipped. Checked before parsing
// so that no later walk of the value (serializing it, destroying it) meets a deep tree.
int nestingDepth(const std::string& text) {
    int depth = 0, deepest = 0;
    bool inString = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
        } else if (c == '"') {
            inString = true;
        } else if (c == '{' || c == '[') {
            deepest = std::max(deepest, ++depth);
        } else if (c == '}' || c == ']') {
            --depth;
        }
    }
    return deepest;
}

// The names of a dotted path; false for an empty path or an empty name.
bool splitPath(const char* path, std::vector<std::string>& names) {
    names.clear();
    if (path == nullptr || *path == '\0') return false;
    std::string name;
    for (const char* p = path;; ++p) {
        if (*p == '.' || *p == '\0') {
            if (name.empty()) return false;
            names.push_back(name);
            name.clear();
            if (*p == '\0') return true;
        } else {
            name += *p;
        }
    }
}

// The member the path names; null when it or an object on its way is missing.
const Json* findPath(const Json& root, const char* path) {
    std::vector<std::string> names;
    if (!splitPath(path, names)) return nullptr;
    const Json* node = &root;
    for (const std::string& name : names) {
        if (!node->is_object()) return nullptr;
        auto it = node->find(name);
        if (it == node->end()) return nullptr;
        node = &*it;
    }
    return node;
}

// The member the path names, created (with the objects on its way) when missing.
Json* makePath(Json& root, const char* path) {
    std::vector<std::string> names;
    if (!splitPath(path, names)) return nullptr;
    Json* node = &root;
    for (const std::string& name : names) {
        if (!node->is_object()) return nullptr;
        node = &(*node)[name];
        if (&name != &names.back() && node->is_null()) *node = Json::object();
    }
    return node;
}

template <class T>
bool setMember(Json& root, const char* path, const T& value) {
    try {
        Json* node = makePath(root, path);
        if (node == nullptr) return false;
        *node = value;
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

ClsJsonObject* ClsJsonObject::createNewCls() {
    try {
        return new ClsJsonObject();
    } catch (...) {
        return nullptr;
    }
}

ClsJsonObject::ClsJsonObject() : m_impl(std::make_unique<Impl>()) {}

ClsJsonObject::~ClsJsonObject() = default;

bool ClsJsonObject::Load(const XString& json) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "Load");
    const bool ok = load(json.getUtf8Sb(), m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsJsonObject::load(const StringBuffer& text, LogBase& log) {
    CritSecExitor lock(this);
    if (text.getSize() > kMaxJsonBytes) {
        log.LogError("JSON text is too large.");
        log.LogDataLong("numBytes", static_cast<long>(text.getSize()));
        return false;
    }
    if (nestingDepth(text.str()) > kMaxDepth) {
        log.LogError("JSON is nested too deeply.");
        return false;
    }
    try {
        Json parsed = Json::parse(text.str(), nullptr, false);
        if (parsed.is_discarded() || !parsed.is_object()) {
            log.LogError("The text is not a JSON object.");
            return false;
        }
        m_impl->root = std::move(parsed);
        return true;
    } catch (...) {
        log.LogError("Out of memory while parsing JSON.");
        return false;
    }
}

bool ClsJsonObject::UpdateString(const XString& path, const XString& value) {
    CritSecExitor lock(this);
    return setMember(m_impl->root, path.getUtf8(), value.getUtf8Sb().str());
}

bool ClsJsonObject::UpdateBool(const XString& path, bool value) {
    CritSecExitor lock(this);
    return setMember(m_impl->root, path.getUtf8(), value);
}

bool ClsJsonObject::UpdateInt(const XString& path, int value) {
    CritSecExitor lock(this);
    return setMember(m_impl->root, path.getUtf8(), value);
}

bool ClsJsonObject::HasMember(const XString& path) {
    return hasMember(path.getUtf8());
}

bool ClsJsonObject::hasMember(const char* path) {
    CritSecExitor lock(this);
    return findPath(m_impl->root, path) != nullptr;
}

bool ClsJsonObject::StringOf(const XString& path, XString& out) {
    StringBuffer sb;
    if (!stringOf(path.getUtf8(), sb)) return false;
    return out.setFromSbUtf8(sb);
}

bool ClsJsonObject::stringOf(const char* path, StringBuffer& out) {
    CritSecExitor lock(this);
    out.clear();
    try {
        const Json* node = findPath(m_impl->root, path);
        if (node == nullptr) return false;
        if (node->is_string()) return out.setString(node->get_ref<const std::string&>());
        if (node->is_number() || node->is_boolean())
            return out.setString(node->dump(-1, ' ', false, Json::error_handler_t::replace));
        return false;
    } catch (...) {
        return false;
    }
}

bool ClsJsonObject::BoolOf(const XString& path, bool& out) {
    return boolOf(path.getUtf8(), out);
}

bool ClsJsonObject::boolOf(const char* path, bool& out) {
    CritSecExitor lock(this);
    const Json* node = findPath(m_impl->root, path);
    if (node == nullptr) return false;
    if (node->is_boolean()) {
        out = node->get<bool>();
        return true;
    }
    if (!node->is_string()) return false;
    StringBuffer text(node->get_ref<const std::string&>());
    if (text.equalsIgnoreCase("true") || text.equalsIgnoreCase("false")) {
        out = text.equalsIgnoreCase("true");
        return true;
    }
    return false;
}

bool ClsJsonObject::Emit(XString& out) {
    CritSecExitor lock(this);
    try {
        return out.setFromUtf8(
            m_impl->root.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
    } catch (...) {
        return false;
    }
}

}  // namespace xmldsig
