#include "support/ZatcaEvidence.h"

#include <algorithm>
#include <cctype>
#include <regex>

#include "support/SignerTools.h"

namespace xmldsig::test {

std::string elementText(const std::string& xml, const std::string& tag, int n) {
    std::size_t pos = 0;
    for (int i = 0; i <= n; ++i) {
        do {
            pos = xml.find("<" + tag, pos);
            if (pos == std::string::npos) return "";
            pos += tag.size() + 1;
        } while (xml[pos] != '>' && !std::isspace(static_cast<unsigned char>(xml[pos])));
        pos = xml.find('>', pos) + 1;
    }
    return xml.substr(pos, xml.find("</" + tag + ">", pos) - pos);
}

std::string withoutWhiteSpace(std::string s) {
    s.erase(std::remove_if(s.begin(), s.end(),
                           [](char c) { return std::isspace(static_cast<unsigned char>(c)); }),
            s.end());
    return s;
}

std::string storedDigest(const std::string& xml, int index) {
    return withoutWhiteSpace(elementText(xml, "ds:DigestValue", index));
}

// What ZATCA hashes, computed by xmllint and openssl: the invoice without its extensions,
// cac:Signature and QR reference, in Canonical XML 1.1 without comments.
std::string zatcaInvoiceHash(const std::string& xml) {
    std::string text = withoutSpan(xml, "<ext:UBLExtensions>", "</ext:UBLExtensions>");
    text = withoutSpan(text, "<cac:Signature>", "</cac:Signature>");
    const std::size_t qr = text.find("<cbc:ID>QR</cbc:ID>");
    const std::size_t open = text.rfind("<cac:AdditionalDocumentReference>", qr);
    const std::string close = "</cac:AdditionalDocumentReference>";
    text.erase(open, text.find(close, qr) + close.size() - open);
    text = std::regex_replace(text, std::regex("<!--[^]*?-->"), "");
    return digestBase64(xmllintCanonical(text, "--c14n11"), "sha256");
}

bool isZatcaInvoice(const std::string& xml) {
    return xml.find("<cbc:ID>QR</cbc:ID>") != std::string::npos &&
           xml.find("<ext:UBLExtensions>") != std::string::npos;
}

}  // namespace xmldsig::test
