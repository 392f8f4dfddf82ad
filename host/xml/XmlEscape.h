// Character data written as XML: text content or an attribute value, either re-serialized
// (decimal character references, so that a re-parse gives back the same characters) or in the
// canonical form (the fixed hexadecimal references that canonical XML prescribes).
#pragma once

#include <string>
#include <string_view>

namespace xmldsig {

enum class XmlEscape {
    Text,                // & < > and CR, as &amp; &lt; &gt; &#13;
    Attribute,           // & < " tab, LF and CR, as &amp; &lt; &quot; &#9; &#10; &#13;
    CanonicalText,       // as Text, CR as &#xD;
    CanonicalAttribute,  // as Attribute, tab, LF and CR as &#x9; &#xA; &#xD;
};

void appendXmlEscaped(std::string& out, std::string_view text, XmlEscape mode);

}  // namespace xmldsig
