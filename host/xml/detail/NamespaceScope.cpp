#include "host/xml/detail/NamespaceScope.h"

namespace xmldsig::detail {

void NamespaceScope::closeLevel() {
    if (m_levels.empty()) return;
    const std::size_t keep = m_levels.back();
    m_levels.pop_back();
    while (m_undo.size() > keep) {
        auto it = m_stacks.find(m_undo.back());
        if (it != m_stacks.end()) {
            it->second.pop_back();
            if (it->second.empty()) m_stacks.erase(it);
        }
        m_undo.pop_back();
    }
}

void NamespaceScope::bind(std::string_view prefix, std::string_view uri) {
    auto it = m_stacks.find(prefix);
    if (it == m_stacks.end())
        it = m_stacks.emplace(std::string(prefix), std::vector<std::string>()).first;
    it->second.emplace_back(uri);
    m_undo.emplace_back(prefix);
}

const std::string* NamespaceScope::lookup(std::string_view prefix) const {
    const auto it = m_stacks.find(prefix);
    if (it == m_stacks.end() || it->second.empty()) return nullptr;
    return &it->second.back();
}

std::vector<std::pair<std::string, std::string>> NamespaceScope::bindings() const {
    std::vector<std::pair<std::string, std::string>> result;
    for (const auto& [prefix, uris] : m_stacks) {
        if (!uris.empty() && !uris.back().empty()) result.emplace_back(prefix, uris.back());
    }
    return result;
}

}  // namespace xmldsig::detail
