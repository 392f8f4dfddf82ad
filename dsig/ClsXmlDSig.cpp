// Construction, destruction and the plain properties of the verifier.
#include "dsig/ClsXmlDSig.h"

#include <new>

#include "dsig/detail/KeyOrigins.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/xml/ClsXml.h"

namespace xmldsig {

ClsXmlDSig* ClsXmlDSig::createNewCls() {
    try {
        return new ClsXmlDSig();
    } catch (...) {
        return nullptr;
    }
}

ClsXmlDSig::ClsXmlDSig() : m_keyOrigins(std::make_unique<detail::KeyOrigins>()) {
    m_refExternalData.setOwnsObjects(true);
}

ClsXmlDSig::~ClsXmlDSig() {
    CritSecExitor lock(this);
    m_loadedText = nullptr;
    m_loadedTree = nullptr;
    if (m_xmlDoc != nullptr) {
        m_xmlDoc->decRefCount();
        m_xmlDoc = nullptr;
    }
    m_signatures.removeAllObjects();
    m_selector = 0;
    m_publicKeys.removeAllObjects();
    clearVerifyingKey();
}

int ClsXmlDSig::get_Selector() {
    CritSecExitor lock(this);
    return m_selector;
}

void ClsXmlDSig::put_Selector(int index) {
    CritSecExitor lock(this);
    const int count = m_signatures.getSize();
    int v = index < count ? index : count - 1;
    m_selector = v < 0 ? 0 : v;
}

int ClsXmlDSig::get_NumSignatures() {
    CritSecExitor lock(this);
    return m_signatures.getSize();
}

bool ClsXmlDSig::get_IgnoreExternalRefs() {
    CritSecExitor lock(this);
    return m_ignoreExternalRefs;
}

void ClsXmlDSig::put_IgnoreExternalRefs(bool ignore) {
    CritSecExitor lock(this);
    m_ignoreExternalRefs = ignore;
}

void ClsXmlDSig::get_VerifyOptions(XString& out) {
    CritSecExitor lock(this);
    StringBuffer sb;
    get_CmsOptions(sb);
    out.setFromSbUtf8(sb);
}

void ClsXmlDSig::put_VerifyOptions(const XString& options) {
    CritSecExitor lock(this);
    put_CmsOptions(options.getUtf8Sb());
}

void ClsXmlDSig::get_ExternalRefDirs(XString& out) {
    CritSecExitor lock(this);
    out.copyFromX(m_externalRefDirs);
}

void ClsXmlDSig::put_ExternalRefDirs(const XString& dirs) {
    CritSecExitor lock(this);
    m_externalRefDirs.copyFromX(dirs);
}

const char* ClsXmlDSig::detectedFamily() const {
    // Order follows the detection table, so the name shown is the rule that applies.
    if (m_isSiiCl) return "SII (Chile)";
    if (m_isSunat) return "SUNAT UBL (Peru)";
    if (m_isCsioz) return "CSIOZ (Poland)";
    if (m_emulateSortBug) return "attribute-sorting emulation (Polish/Italian government, HL7)";
    if (m_isCmaStp) return "CMA STP";
    if (m_isDoda) return "SAT doda (Mexico)";
    if (m_isSkSignedDoc) return "DigiDoc SK-XML";
    return "";
}

ClsXmlDSig::FamilyFlags ClsXmlDSig::familyFlags() const {
    return {m_isSiiCl,  m_isSunat, m_isCsioz,       m_emulateSortBug, m_noSortBugRetry,
            m_isCmaStp, m_isDoda,  m_isSkSignedDoc, m_isZatca,        m_isMyInvois};
}

}  // namespace xmldsig
