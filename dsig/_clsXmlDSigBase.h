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

class _clsXmlDSigBase : public ClsBase, public _clsCades {
  public:
    _clsXmlDSigBase() = default;
    ~_clsXmlDSigBase() override = default;

  protected:
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
