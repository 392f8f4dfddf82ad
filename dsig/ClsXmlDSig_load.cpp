// Loading a signed document and recognising the document families that need special handling.
#include <cstring>

#include "dsig/ClsXmlDSig.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/text/CharsetConvert.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

namespace {

const char kSortBugInfo[] = "Will duplicate the XML canonicalization attribute sorting bug...";

// Hosts and markers of the government formats whose signers sort attributes by qualified name.
const char* const kSortBugHosts[] = {
    "e-deklaracje.mf.gov.pl",    "mf.gov.pl",  "www.zus.pl",
    "fascicolosanitario.gov.it", "crd.gov.pl", "urn:hl7-org:",
};

}  // namespace

bool ClsXmlDSig::LoadSignature(const XString& xml) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadSignature");
    m_log.clearLastJsonData();
    XString text(xml);
    text.checkFixUtf8Windows1252(m_log);
    return loadSignature(text, m_log);
}

bool ClsXmlDSig::LoadSignatureSb(const ClsStringBuilder& sb) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadSignatureSb");
    m_log.clearLastJsonData();
    return loadSignature(sb.m_str, m_log);
}

bool ClsXmlDSig::LoadSignatureBd(const ClsBinData& bd) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "LoadSignatureBd");
    m_log.clearLastJsonData();
    DataBuffer bytes;
    bytes.append(bd.m_data);
    if (!bytes.convertXmlToUtf8(m_log)) {
        // The document could not be decoded: reset as a load does, then give up.
        m_selector = 0;
        m_signatures.removeAllObjects();
        return false;
    }
    StringBuffer utf8;
    utf8.takeFromDb(bytes);
    // The ZATCA and MyInvois switches are deliberately not re-read here.
    return loadUtf8Text(utf8, m_log);
}

bool ClsXmlDSig::loadSignature(const XString& xml, LogBase& log) {
    checkSetZatca(log);
    checkSetMyInvois(log);
    StringBuffer utf8;
    utf8.setString(xml.getUtf8Sb());
    return loadUtf8Text(utf8, log);
}

bool ClsXmlDSig::loadUtf8Text(StringBuffer& utf8, LogBase& log) {
    m_selector = 0;
    m_loadedText = nullptr;
    m_loadedTree = nullptr;
    if (m_xmlDoc != nullptr) {
        m_xmlDoc->decRefCount();
        m_xmlDoc = nullptr;
    }
    m_signatures.removeAllObjects();
    m_xmlText.takeSb(utf8);
    detectSpecial(m_xmlText, log);

    m_xmlDoc = ClsXml::createNewCls();
    if (m_xmlDoc == nullptr) return false;
    if (!m_xmlDoc->loadXml(m_xmlText, false, log)) return false;
    m_loadedText = &m_xmlText;
    m_loadedTree = m_xmlDoc->document().get();
    // The search result is not checked: a document without signatures still loads.
    m_xmlDoc->findSignatures(m_signatures, log);
    return true;
}

void ClsXmlDSig::checkSetZatca(LogBase& log) {
    m_isZatca = log.uncommonOptions().containsSubstringNoCase("ZATCA");
    if (m_isZatca) {
        m_noSortBugRetry = true;
        log.LogInfo("Will validate according to ZATCA rules...");
    }
}

void ClsXmlDSig::checkSetMyInvois(LogBase& log) {
    m_isMyInvois = log.uncommonOptions().containsSubstringNoCase("MYINVOIS");
    if (m_isMyInvois) {
        m_noSortBugRetry = true;
        log.LogInfo("Will validate according to MyInvois rules...");
    }
}

void ClsXmlDSig::detectSpecial(const StringBuffer& docText, LogBase& log) {
    m_isDoda = m_isSiiCl = m_isSunat = m_isCmaStp = m_isCsioz = false;
    m_emulateSortBug = m_noSortBugRetry = m_isSkSignedDoc = false;

    bool sortBugHost = false;
    for (const char* host : kSortBugHosts)
        sortBugHost = sortBugHost || docText.containsSubstring(host);

    if (docText.containsSubstring("www.sii.cl")) {
        m_noSortBugRetry = true;
        m_isSiiCl = true;
        m_siiDte.clear();
    } else if (docText.containsSubstring("urn:sunat:names:specification:ubl:peru")) {
        m_isSunat = true;
        m_docKindCode = 3;
    } else if (sortBugHost) {
        log.LogInfo(kSortBugInfo);
        m_emulateSortBug = true;
    } else if (docText.containsSubstring("csioz.gov.pl")) {
        log.LogInfo(kSortBugInfo);
        m_isCsioz = true;
        m_emulateSortBug = true;
    } else if (docText.containsSubstring("urn:cma:stp:xsd:stp")) {
        m_isCmaStp = true;
    } else if (docText.containsSubstring("siat.sat.gob.mx") &&
               docText.containsSubstring("<doda>")) {
        m_isDoda = true;
    }

    if (docText.containsSubstring("<SignedDoc ") && docText.containsSubstring("SK-XML")) {
        m_isSkSignedDoc = true;
    }
}

}  // namespace xmldsig
