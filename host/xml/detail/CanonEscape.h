// The escaping rules of canonical XML: text content and attribute values each escape a fixed set
// of characters, always with the same entity or hexadecimal character reference.
#pragma once

#include <string>
#include <string_view>

namespace xmldsig::detail {

// & < > and carriage return, as &amp; &lt; &gt; &#xD;
void appendEscapedText(std::string& out, std::string_view text);

// & < " tab, line feed and carriage return, as &amp; &lt; &quot; &#x9; &#xA; &#xD;
void appendEscapedAttribute(std::string& out, std::string_view value);

}  // namespace xmldsig::detail
