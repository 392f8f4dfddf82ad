// Character data written back as XML text: the markup characters and carriage returns (which a
// parser would turn into line feeds) become references.
#pragma once

#include <string>
#include <string_view>

namespace xmldsig {

void appendXmlEscapedText(std::string_view text, std::string& out);

}  // namespace xmldsig
