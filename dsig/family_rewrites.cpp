// Document families signed over a text that differs from the document as delivered: the
// rewrites that bring a reference's working text back into the signed form, before the
// transforms (Chilean SII tax documents) and after them (SWIFT Alliance messages).
#include <algorithm>
#include <string>

#include "dsig/DSigReference.h"
#include "dsig/_clsXmlDSigBase.h"
#include "dsig/detail/XmlChunks.h"
#include "host/log/LogBase.h"
#include "host/log/LogContextExitor.h"

namespace xmldsig {

namespace {

constexpr const char* kSiiHost = "www.sii.cl";
constexpr std::size_t npos = std::string::npos;

// The '<' nearest before pos (never the one at offset 0); npos when there is none.
std::size_t tagStartBefore(const std::string& text, std::size_t pos) {
    if (pos == 0) return npos;
    const std::size_t lt = text.rfind('<', pos - 1);
    return lt == 0 ? npos : lt;
}

// SWIFT Alliance Access signs the message without its LAU (local authentication) element.
void removeSwiftLau(StringBuffer& xml, LogBase& log) {
    const std::string& text = xml.str();
    if (!xml.containsSubstring("urn:swift:saa:xsd:saa.2.0")) return;
    const std::size_t a = text.find("<LAU");
    const std::size_t b = text.find("</LAU>");
    if (a == npos || b == npos || a == 0 || a > b) return;
    log.LogInfo("Adjusting XML to canonicalized by removing <LAU ... </LAU>");
    xml.removeChunk(static_cast<unsigned>(a), static_cast<unsigned>(b + 6 - a));
}

// ZATCA step: no XML declaration, nor the white space after it.
void dropXmlDeclaration(StringBuffer& xml) {
    std::string& text = xml.str();
    if (!xml.beginsWith("<?")) return;
    const std::size_t close = text.find("?>");
    if (close == npos) return;
    const std::size_t rest = text.find_first_not_of(" \t\r\n", close + 2);
    text.erase(0, rest == npos ? text.size() : rest);
}

// ZATCA step: the Invoice start tag on one line, one blank between its attributes.
void flattenInvoiceStartTag(StringBuffer& xml) {
    if (!xml.beginsWith("<Invoice")) return;
    const std::size_t gt = xml.str().find('>');
    if (gt == npos) return;
    StringBuffer tag(xml.str().substr(0, gt + 1));
    tag.replaceChar5("\r\n\t", ' ');
    tag.trimInsideSpaces();
    xml.str().replace(0, gt + 1, tag.str());
}

}  // namespace

bool _clsXmlDSigBase::preprocessXmlToTransform(StringBuffer& uri, DSigReference& /*reference*/,
                                               StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "preprocessXmlToTransform");
    if (m_isSiiCl) {
        StringBuffer line("Preprocessing for ");
        line.append(kSiiHost);
        log.LogInfo(line.getString());
        extract_sii_cl_dte(xml, uri.getString(), true, log);
    }
    return true;
}

bool _clsXmlDSigBase::postProcessTransformedXml(StringBuffer& /*uri*/, DSigReference& /*reference*/,
                                                StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "postProcessTransformedXml");
    removeSwiftLau(xml, log);
    return true;
}

// An SII Documento is signed inside its DTE element, taken out of any envelope: the text
// becomes that DTE element plus the one character that follows its end tag.
void _clsXmlDSigBase::extract_sii_cl_dte(StringBuffer& xml, const char* id, bool keepCopy,
                                         LogBase& log) {
    LogContextExitor ctx(log, "extract_sii_cl_dte");
    const std::string& text = xml.str();
    const std::string attr = std::string("ID=\"") + (id != nullptr ? id : "") + "\"";
    const std::size_t match = text.find(attr);
    if (match == npos) return;
    const std::size_t documento = tagStartBefore(text, match);
    if (documento == npos || text.compare(documento, 11, "<Documento ") != 0) return;
    const std::size_t dte = tagStartBefore(text, documento);
    if (dte == npos || text.compare(dte, 5, "<DTE ") != 0) return;
    m_siiDteOffset = static_cast<uint32_t>(dte);
    const std::size_t close = text.find("</DTE>", dte);
    if (close == npos) return;
    const std::size_t end = std::min(close + 7, text.size());
    StringBuffer extract(text.substr(dte, end - dte));
    log.LogDataUint32("siiDteOffset", m_siiDteOffset);
    if (keepCopy) m_siiDte.setString(extract);
    xml.takeSb(extract);
}

// The text over which a ZATCA invoice hash is computed (before canonicalization): declaration,
// signature extension, QR reference and signature block removed.
bool _clsXmlDSigBase::zatcaTransformInvoice(StringBuffer& xml, LogBase& log) {
    LogContextExitor ctx(log, "zatcaTransformInvoice");
    xml.toLF();
    xml.trim2();
    dropXmlDeclaration(xml);
    flattenInvoiceStartTag(xml);
    xml.removeDelimited("<ext:UBLExtensions>", "</ext:UBLExtensions>", true, true);
    // The host's removeDelimitedIfContains, in one pass (see XmlChunks.h).
    detail::removeChunkContaining(xml, "<cac:AdditionalDocumentReference>",
                                  "</cac:AdditionalDocumentReference>", "<cbc:ID>QR");
    xml.removeDelimited("<cac:Signature>", "</cac:Signature>", true, true);
    return true;
}

}  // namespace xmldsig
