#include "cli/FamilyHint.h"

#include <algorithm>
#include <cctype>

namespace xmldsig::cli {

namespace {

bool optionGiven(const ParsedArgs& args, const std::string& word) {
    for (std::string given : args.all("--option")) {
        std::transform(given.begin(), given.end(), given.begin(),
                       [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
        if (given == word) return true;
    }
    return false;
}

}  // namespace

std::string familyHint(const DataBuffer& document, const ParsedArgs& args) {
    if (document.getSize() == 0) return "";
    const std::string text(reinterpret_cast<const char*>(document.getData2()),
                           static_cast<std::size_t>(document.getSize()));
    const auto has = [&](const char* s) { return text.find(s) != std::string::npos; };
    if (!has("ext:UBLExtensions")) return "";
    // ZATCA invoices carry the QR code as an AdditionalDocumentReference that the signer's XPath
    // leaves out; MyInvois signers leave out the UBL extensions and cac:Signature instead.
    if (has("cbc:ID>QR<") && !optionGiven(args, "ZATCA"))
        return "the document looks like a ZATCA e-invoice: verify it with --option ZATCA";
    if (!has("cbc:ID>QR<") && has("not(//ancestor-or-self::ext:UBLExtensions)") &&
        !optionGiven(args, "MYINVOIS"))
        return "the document looks like a MyInvois e-invoice: verify it with --option MYINVOIS";
    return "";
}

}  // namespace xmldsig::cli
