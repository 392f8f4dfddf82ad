// Prefix-to-URI bindings of nested element scopes. Each element opens a level; leaving it undoes
// exactly the bindings it made, so lookups stay cheap however deep the document is.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace xmldsig::detail {

class NamespaceScope {
  public:
    void openLevel() { m_levels.push_back(m_undo.size()); }
    void closeLevel();

    // Binds prefix ("" for the default namespace) to uri until the current level closes. An
    // empty uri records an undeclaration (xmlns="").
    void bind(std::string_view prefix, std::string_view uri);

    // The innermost binding of prefix, or null when it was never bound. The result may be empty
    // when the prefix was undeclared.
    const std::string* lookup(std::string_view prefix) const;

    // Every prefix currently bound to a non-empty URI, ordered by prefix.
    std::vector<std::pair<std::string, std::string>> bindings() const;

  private:
    std::map<std::string, std::vector<std::string>, std::less<>> m_stacks;
    std::vector<std::string> m_undo;  // prefixes in the order they were bound
    std::vector<std::size_t> m_levels;
};

}  // namespace xmldsig::detail
