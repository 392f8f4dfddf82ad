// Document-family state of the verifier: which family the loaded document belongs to, and the
// compatibility switches that family needs. Set when a document is loaded, read by the
// reference-digest and signature-value checks.
#pragma once

#include <cstdint>

#include "host/cms/_clsCades.h"
#include "host/log/ClsBase.h"
#include "host/text/DataBuffer.h"
#include "host/text/StringBuffer.h"

namespace xmldsig {

class ClsXml;
class DSigReference;
namespace dom {
class Document;
}
namespace detail {
struct RefDigestWork;
}
class LogBase;

class _clsXmlDSigBase : public ClsBase, public _clsCades {
    friend class TransformTestAccess;

  public:
    _clsXmlDSigBase() = default;
    ~_clsXmlDSigBase() override = default;

  protected:
    // Canonicalization of a reference's working text, configured for the document family.
    // transform is the Transform element, or null for a default canonicalization.
    // With work (whose text is xml), the signatures it excludes are left out of the canonical
    // walk over the loaded tree when that gives the same bytes, else cut from the text first.
    bool transformCanonicalize(ClsXml* transform, StringBuffer& xml, StringBuffer& algorithm,
                               StringBuffer& uri, LogBase& log,
                               detail::RefDigestWork* work = nullptr);
    // The XPath expressions that signers actually write, carried out as text removals.
    bool transformXPath(ClsXml* transform, StringBuffer& xml, StringBuffer& algorithm,
                        StringBuffer& xpath, LogBase& log);
    bool removeXmlChunk(const char* startMarker, const char* endMarker, StringBuffer& xml,
                        LogBase& log);
    bool removeXmlChunkContaining(const char* startMarker, const char* endMarker,
                                  const char* mustContain, StringBuffer& xml, LogBase& log);
    // Family-specific rewrites of the working text before and after the transforms.
    bool preprocessXmlToTransform(StringBuffer& uri, DSigReference& reference, StringBuffer& xml,
                                  LogBase& log);
    bool postProcessTransformedXml(StringBuffer& uri, DSigReference& reference, StringBuffer& xml,
                                   LogBase& log);
    void extract_sii_cl_dte(StringBuffer& xml, const char* id, bool keepCopy, LogBase& log);
    bool zatcaTransformInvoice(StringBuffer& xml, LogBase& log);

    // The loaded document's tree, when text is still exactly the loaded text: steps that would
    // parse the text again use it instead. Null otherwise.
    const dom::Document* treeIfUnchanged(const StringBuffer& text) const {
        return m_loadedTree != nullptr && m_loadedText != nullptr && text.equals(*m_loadedText)
                   ? m_loadedTree
                   : nullptr;
    }
    const StringBuffer* m_loadedText = nullptr;  // set by a successful load
    const dom::Document* m_loadedTree = nullptr;

    int32_t m_docKindCode = 0;      // 3 for a SUNAT (Peru) UBL document
    bool m_isSiiCl = false;         // Chilean SII electronic tax document
    uint32_t m_siiDteOffset = 0;    // byte offset of m_siiDte in the loaded text
    StringBuffer m_siiDte;          // the SII extract used for canonicalization
    bool m_isDoda = false;          // Mexican SAT "doda" document
    bool m_isCsioz = false;         // Polish CSIOZ document: attribute-sorting emulation always
    bool m_isSunat = false;         // SUNAT (Peru) UBL document
    bool m_isZatca = false;         // ZATCA (Saudi e-invoice) rules in force
    bool m_isMyInvois = false;      // MyInvois (Malaysia e-invoice) rules in force
    bool m_emulateSortBug = false;  // canonicalize with the attribute-sorting emulation
    bool m_noSortBugRetry = false;  // do not retry a failed digest with the emulation
    bool m_isSkSignedDoc = false;   // DigiDoc SignedDoc container of format SK-XML
    bool m_isCmaStp = false;        // document of the urn:cma:stp:xsd:stp schema
    DataBuffer m_myInvoisDigest;    // MyInvois: the hash that the signature value signs
};

}  // namespace xmldsig
