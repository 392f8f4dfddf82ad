// The XML signature verifier component: load a signed document, select one of its signatures,
// and question it (references, SignedInfo fields) or canonicalize XML on request.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "dsig/AlgorithmReadings.h"
#include "dsig/DSigReference.h"
#include "dsig/ReferenceCoverage.h"
#include "dsig/SignatureTimestampInfo.h"
#include "dsig/VerifyFailure.h"
#include "dsig/XadesBinding.h"
#include "dsig/_clsXmlDSigBase.h"
#include "host/cert/SystemCertsHolder.h"
#include "host/log/ExtPtrArrayRc.h"
#include "host/text/ExtPtrArray.h"
#include "host/text/XString.h"

namespace xmldsig {

namespace detail {
struct RefDigestWork;
class KeyOrigins;
}  // namespace detail
namespace dom {
class Document;
}
class ClsBinData;
class ClsHttp;
class ClsJsonObject;
class ClsPublicKey;
class ClsStringArray;
class ClsXmlCertVault;
class StringHashSet;
class TavolinX509;
class XmlCanon;
class XmlSigLocate;
class ClsStringBuilder;
class ClsXml;

class ClsXmlDSig : public _clsXmlDSigBase, public SystemCertsHolder {
    friend class TransformTestAccess;

  public:
    // Work caps: a signature with more references, or a reference with more transforms, fails
    // before any of them is processed. The VerifyOptions members "MaxReferences" and
    // "MaxTransforms" raise them.
    static constexpr int kMaxReferences = 100;
    static constexpr int kMaxTransforms = 10;

    // Null (never an exception) when construction fails.
    static ClsXmlDSig* createNewCls();
    ~ClsXmlDSig() override;

    // Properties.
    int get_Selector();
    void put_Selector(int index);
    int get_NumSignatures();
    bool get_IgnoreExternalRefs();
    void put_IgnoreExternalRefs(bool ignore);
    bool get_WithComments() const { return m_withComments; }
    void put_WithComments(bool withComments) { m_withComments = withComments; }
    int get_RefFailReason() const { return m_refFailReason; }
    void get_VerifyOptions(XString& out);
    void put_VerifyOptions(const XString& options);
    void get_ExternalRefDirs(XString& out);
    void put_ExternalRefDirs(const XString& dirs);
    int get_NumReferences();

    // Loading.
    bool LoadSignature(const XString& xml);
    bool LoadSignatureSb(const ClsStringBuilder& sb);
    bool LoadSignatureBd(const ClsBinData& bd);

    // References of the selected signature.
    bool ReferenceUri(int index, XString& out);
    bool IsReferenceExternal(int index);
    bool SetRefDataFile(int index, const XString& path);
    bool SetRefDataBd(int index, const ClsBinData& bd);
    bool SetRefDataSb(int index, const ClsStringBuilder& sb, const XString& charset);

    // The selected signature: its SignatureValue under the keys KeyInfo yields (and the
    // caller's), after every reference digest when asked.
    bool VerifySignature(bool verifyReferenceDigests);

    // Reference digests of the selected signature.
    bool VerifyReferenceDigest(int index);

    // Keys and certificates of the selected signature.
    ClsPublicKey* GetPublicKey();  // the first key KeyInfo yields (one reference), or null
    bool SetPublicKey(ClsPublicKey& key);
    bool SetHmacKey(XString& key, const XString& encoding);
    bool UseCertVault(ClsXmlCertVault& vault);
    ClsXml* GetKeyInfo();
    bool GetCerts(ClsStringArray& out);

    // XAdES signature timestamp of the selected signature: the document text with a
    // SignatureTimeStamp (a token from the timestamp authority that json names) spliced in goes
    // to sbOut; the loaded document is not changed.
    bool AddEncapsulatedTimeStamp(ClsJsonObject& json, ClsStringBuilder& sbOut);
    bool HasEncapsulatedTimeStamp();
    // The HTTP client that timestamp requests go through (a counted reference is kept).
    void SetHttpObj(ClsHttp& http);

    // Canonicalization on request.
    bool CanonicalizeXml(const XString& xml, const XString& canonVersion, bool withComments,
                         XString& out);
    bool CanonicalizeFragment(const XString& xml, const XString& fragmentId,
                              const XString& canonVersion, const XString& prefixList,
                              bool withComments, XString& out);

    // What the last reference-digest check hashed, for comparing with what a signer hashed
    // (this component's own addition). Off by default: keeping it costs a copy per reference.
    void put_KeepHashedData(bool keep);
    // The bytes hashed for the last reference checked; when that was an external file streamed
    // from disk, out stays empty and filePath names the file. False when nothing was hashed.
    bool GetHashedData(ClsBinData& out, XString& filePath);

    // Pinned keys (this component's own addition): when on, VerifySignature tries only the keys
    // the caller gave (SetPublicKey, SetHmacKey); no key or certificate of KeyInfo, of a token
    // or of the certificate store is tried. Off by default.
    bool get_PinnedKeysOnly();
    void put_PinnedKeysOnly(bool pinned);
    // What verified the last VerifySignature (nothing after a false result): the key (a new
    // counted reference, or null; null also for HMAC), the certificate it came from (base64 DER;
    // false when the key had none, as for key values and caller keys), and where the key came
    // from ("KeyInfo/X509Data/X509Certificate[1]", "KeyInfo/KeyValue/RSAKeyValue", "caller
    // key", "caller HMAC key"...).
    ClsPublicKey* GetVerifyingKey();
    bool GetVerifyingCert(XString& base64Der);
    bool GetVerifyingKeySource(XString& out);
    // Manifests (this component's own addition): every Reference of the selected signature whose
    // Type ends in "#Manifest" and whose URI names a Manifest element: each reference of that
    // Manifest checked like a reference digest. False when one does not match (an external
    // reference without data counts only when IgnoreExternalRefs is off).
    struct ManifestReferenceResult {
        int signatureReference = 0;  // the SignedInfo reference that points at the Manifest
        int index = 0;               // the reference's index in the Manifest
        std::string uri;
        bool ok = false;
        int reason = 0;  // as RefFailReason
        std::string detail;
    };
    bool VerifyManifests(std::vector<ManifestReferenceResult>& out);

    // Why the last VerifySignature returned false (None after true), and the same in words.
    VerifyFailure get_VerifyFailure();
    void GetVerifyFailureDetail(XString& out);
    // The last reference check's failure in words when the RefFailReason number says too
    // little (an Id carried by several elements); empty otherwise.
    void GetRefFailDetail(XString& out);

    // Read-only views for tools and reports (this component's own additions).
    // Short name of the document family detected at load ("" when none).
    const char* detectedFamily() const;
    struct FamilyFlags {
        bool siiCl, sunat, csioz, emulateSortBug, noSortBugRetry, cmaStp, doda, skSignedDoc, zatca,
            myInvois;
    };
    FamilyFlags familyFlags() const;
    // The parsed Reference at index of the selected signature; false when there is none.
    bool describeReference(int index, DSigReference& out);
    // What the reference at index covers in the loaded document; false when there is none.
    bool describeCoverage(int index, ReferenceCoverage& out);
    bool describeSignedInfo(StringBuffer& canonMethod, StringBuffer& prefixList,
                            StringBuffer& signatureMethod, StringBuffer& signatureId);
    // The XAdES signer binding of the selected signature, matched against signerCertDer (the
    // certificate whose key verified it; empty when none). False when no signature is selected.
    bool GetXadesBinding(const DataBuffer& signerCertDer, XadesBinding& out);
    // Checks the XAdES signature timestamp of the selected signature whatever UncommonOptions
    // say (out.present false when it has none). False when no signature is selected.
    bool CheckSignatureTimeStamp(SignatureTimestampInfo& out);
    // Signer checks (this component's own addition), after a VerifySignature that returned true:
    // the XAdES signature timestamp, the XAdES signer binding, a certificate path to the trust
    // anchors the VerifyOptions members name ("TrustAnchors", "SystemTrust", "Untrusted",
    // "Crls", "TsaTrustAnchors", "ValidationTime") and what qualifies the verdict (weak
    // algorithms, short keys...), which refuses it when VerifyOptions has "Policy": "strict".
    // True when nothing refuses the signer; the reason of a false is logged.
    bool VerifySigner();
    // What the last VerifySigner found, as a JSON object: "trust", "xades", "timestamp" (see the
    // tool's verify --json), "warnings" and "failure" ("" when it returned true).
    void GetSignerReport(XString& json);
    // The signer's trust after the last VerifySigner: "trusted", "untrusted", or "not checked"
    // (no trust anchors, or no VerifySigner since the last VerifySignature).
    void get_TrustStatus(XString& out);
    // Which reading of the algorithm table (AlgorithmTable.h) verified the last verification:
    // 1 the first, 2 the second, 0 none; per reference by index, and for SignatureValue.
    const AlgorithmReadings& lastReadings() const { return m_readings; }

  protected:
    // Internal operations; the log comes last.
    bool loadSignature(const XString& xml, LogBase& log);
    bool loadUtf8Text(StringBuffer& utf8, LogBase& log);  // steps shared by every load
    void checkSetZatca(LogBase& log);
    void checkSetMyInvois(LogBase& log);
    void detectSpecial(const StringBuffer& docText, LogBase& log);

    ClsXml* selectedSignature() const;                      // borrowed; null when none
    ClsXml* signedInfoOf(ClsXml& sig, LogBase& log) const;  // new reference or null
    int numReferences(ClsXml& sig, LogBase& log);
    ClsXml* getReference(int index, LogBase& log);
    bool getReferenceUri(int index, StringBuffer& out, LogBase& log);
    bool getSignedInfoField(const char* tag, const char* attr, StringBuffer& out, LogBase& log);
    bool getSignatureMethod(StringBuffer& out, LogBase& log);
    bool getCanonicalizationMethod(StringBuffer& method, StringBuffer& prefixList, LogBase& log);
    bool getSignatureValue(StringBuffer& out, LogBase& log);
    bool selectedSignatureId(StringBuffer& out, LogBase& log);
    bool selectBySignatureId(const StringBuffer& id, LogBase& log);
    DSigRefExternalData* getExtRef(int index, bool create, LogBase& log);

    // Keys: every candidate of KeyInfo (then the caller's key unless keyInfoOnly).
    bool getPublicKey(bool keyInfoOnly, ExtPtrArrayRc& keys, LogBase& log);
    bool publicKeyFromKeyInfo(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    bool keysFromTokenReference(ClsXml& str, ExtPtrArrayRc& keys, StringHashSet& seen,
                                LogBase& log);
    // The certificate (base64) of the BinarySecurityToken a token reference's Reference points
    // at; a PKI path gives its last certificate. False, logged, when there is none.
    bool certOfReferencedToken(ClsXml& ref, bool fallBackToAnyToken, const char* locatingInfo,
                               StringBuffer& content, LogBase& log);
    ClsXml* getKeyInfo(LogBase& log);
    bool certsFromKeyInfo(ClsXml& keyInfo, ClsStringArray& out, LogBase& log);
    bool certsFromTokenReference(ClsXml& str, ClsStringArray& out, StringHashSet& seen,
                                 LogBase& log);

    // Certificate lookups: base64 certificates (recorded in the seen set) and the store.
    ClsPublicKey* publicKeyFromX509(TavolinX509& cert, LogBase& log);
    ClsPublicKey* publicKeyFromCertBase64(StringBuffer& base64, StringHashSet& seen, LogBase& log);
    bool processCertBase64(StringBuffer& base64, StringHashSet& seen, LogBase& log);
    ClsPublicKey* getPublicKeyByIssuerNameAndSerial(StringBuffer& issuerCn, StringBuffer& serialHex,
                                                    LogBase& log);
    bool getCertByIssuerNameAndSerial(StringBuffer& issuerCn, StringBuffer& serialHex,
                                      StringBuffer& out, LogBase& log);
    ClsPublicKey* getPublicKeyBySubjectName(StringBuffer& dn, LogBase& log);
    bool getCertBySubjectName(StringBuffer& dn, StringBuffer& out, LogBase& log);
    ClsPublicKey* getPublicKeyBySKI(StringBuffer& ski, LogBase& log);
    bool getCertBySKI(StringBuffer& ski, StringBuffer& out, LogBase& log);
    bool pkiPathV1_to_cert(const StringBuffer& token, StringBuffer& out, LogBase& log);
    static void reverseSubjectNameDN(StringBuffer& dn, StringBuffer& out, LogBase& log);
    // XAdES signature timestamp of the located signature.
    bool verifyEncapsulatedTimeStamp(const StringBuffer& sigText, ClsXml& sigXml, LogBase& log);
    bool addEncapsulatedTimeStamp(ClsJsonObject& json, XString& out, LogBase& log);
    bool hasEncapsulatedTimeStamp(LogBase& log);

    // Reference digests: the retrying driver, one attempt, and same-document references.
    bool verifyReferenceDigest(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                               LogBase& log);
    bool verifyReferenceDigest2(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                                LogBase& log);
    bool verifyInternalReference(int index, StringBuffer& uri, DSigReference& reference,
                                 LogBase& log);
    // Removes the signature being verified (and the signatures right after it) from the text.
    bool transformEnvelopedSignature(StringBuffer& xml, StringBuffer& algorithm, StringBuffer& uri,
                                     DSigReference& reference, LogBase& log);
    // The same; with work, whose text must be xml, the signatures may instead be recorded as
    // spans to leave out of the canonical walk (RefDigestWork::excluded).
    bool envelopedSignature(StringBuffer& xml, DSigReference& reference,
                            detail::RefDigestWork* work, LogBase& log);
    bool removeSignatureAndFollowingSigs(StringBuffer& xml, unsigned start, unsigned length,
                                         LogBase& log);
    // The same with the text's tree when one is at hand (null: parse the text).
    bool removeSignatureSpan(StringBuffer& xml, const dom::Document* parsed, unsigned start,
                             unsigned length, LogBase& log, detail::RefDigestWork* work = nullptr);

    bool m_withComments = false;
    bool m_ignoreExternalRefs = false;
    int32_t m_refFailReason = 0;
    StringBuffer m_xmlText;
    ClsXml* m_xmlDoc = nullptr;
    XString m_externalRefDirs;
    ExtPtrArrayRc m_signatures;
    ExtPtrArrayRc m_publicKeys;
    ExtPtrArray m_refExternalData;  // of DSigExternalData, by signature index
    DataBuffer m_hmacKey;
    int32_t m_selector = 0;

  private:
    ClsXmlDSig();
    // Where the octets a reference hashed are kept (null unless asked); kept even when empty.
    DataBuffer* hashRecord() {
        m_lastHashedKept = m_keepHashedData;
        return m_keepHashedData ? &m_lastHashed : nullptr;
    }
    // Records why VerifySignature fails and returns false.
    bool failVerify(VerifyFailure why, const std::string& detail);
    // A key joins the candidates: appended to keys, its origin recorded (fromCert: it was made by
    // publicKeyFromX509 just before). Null keys are ignored.
    void addCandidate(ExtPtrArrayRc& keys, ClsPublicKey* key, const std::string& source,
                      bool fromCert);
    void recordVerifyingKey(ClsPublicKey* key);
    // "Id X appears N times (possible signature wrapping)" when several elements carry id,
    // otherwise the text given.
    std::string wrappingDetail(const StringBuffer& id, const std::string& otherwise) const;
    void clearVerifyingKey();
    ClsXml* m_manifest = nullptr;  // while VerifyManifests runs: references are read from it
    bool m_pinnedKeysOnly = false;
    VerifyFailure m_verifyFailure = VerifyFailure::None;
    std::string m_verifyFailureDetail;
    std::string m_refFailDetail;
    std::unique_ptr<detail::KeyOrigins> m_keyOrigins;
    ClsPublicKey* m_verifyingKey = nullptr;  // counted reference
    std::string m_verifyingSource, m_verifyingCert;
    bool m_lastReferencesChecked = true;  // the last VerifySignature checked reference digests
    std::string m_signerReportJson, m_trustStatus = "not checked";  // of the last VerifySigner
    bool m_keepHashedData = false;
    DataBuffer m_lastHashed;
    XString m_lastHashedFile;
    bool m_lastHashedKept = false;  // m_lastHashed holds what was hashed, possibly nothing
    // Steps of verifyInternalReference.
    bool applyTransforms(StringBuffer& uri, DSigReference& reference, detail::RefDigestWork& w,
                         LogBase& log);
    bool applyOneTransform(ClsXml& transform, StringBuffer& uri, DSigReference& reference,
                           detail::RefDigestWork& w, LogBase& log);
    bool computeReferenceDigest(int hashAlg, detail::RefDigestWork& w, LogBase& log);
    bool compareReferenceDigest(StringBuffer& uri, DSigReference& reference,
                                detail::RefDigestWork& w, LogBase& log);
    bool zatcaRetry(StringBuffer& uri, DSigReference& reference, detail::RefDigestWork& w,
                    LogBase& log);
    // The work caps (work_caps.cpp); false, logged, past a cap.
    bool referenceCountWithinCap(LogBase& log);
    bool transformCountWithinCap(int count, LogBase& log);
    // Steps of VerifySignature.
    int countReferenceFailures(std::string& firstFailure, LogBase& log);
    bool locateSelectedSignature(const StringBuffer& sigId, XmlSigLocate& loc, LogBase& log);
    bool checkTimestampIfAsked(const XmlSigLocate& loc, LogBase& log);
    bool checkTimestampAt(const XmlSigLocate& loc, LogBase& log);
    // Where verifyEncapsulatedTimeStamp reports what it found (null: nobody asked).
    SignatureTimestampInfo* m_timestampRecord = nullptr;
    bool configureSignedInfoCanon(XmlCanon& canon, StringBuffer& method, LogBase& log);
    bool canonicalSignedText(XmlCanon& canon, const XmlSigLocate& loc, StringBuffer& out,
                             LogBase& log);
    bool hashToVerify(int hashAlg, const StringBuffer& signedText, DataBuffer& hash, LogBase& log);
    bool verifyWithKeys(int keyType, int hashAlg, const StringBuffer& sigMethod,
                        const StringBuffer& signedText, const StringBuffer& sigValueText,
                        const DataBuffer& sigBytes, const DataBuffer& hash,
                        const StringBuffer& canonMethod, LogBase& log);
    bool setRefData(const char* opName, int index, const DataBuffer* data, const XString* path);
    // The second reading of SignatureMethod (AlgorithmReadings.cpp).
    struct SignedValue {
        const StringBuffer& sigMethod;
        const StringBuffer& signedText;
        const StringBuffer& sigValueText;
        const DataBuffer& sigBytes;
        const StringBuffer& canonMethod;
    };
    bool verifySignatureSecondReading(int firstHash, int firstKeyType, const SignedValue& v,
                                      LogBase& log);
    bool verifyEdDsa(int keyType, const SignedValue& v, LogBase& log);
    // The reference driver: the established attempts, then the second reading of the digest
    // method when they end in a mismatch.
    bool verifyReferenceFirstReading(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                                     LogBase& log);
    bool referenceSecondReading(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                                LogBase& log);
    bool digestMethodSecondReading(int index, bool& missingExternalData, ExtPtrArraySb& refDirs,
                                   LogBase& log);
    // The digest of a reference: its first reading, unless a second reading is running.
    int referenceHash(const DSigReference& reference) const;
    // The general W3C engine's reading of a reference (ClsXmlDSig_general_engine.cpp).
    bool generalEngineReading(int index, ExtPtrArraySb& refDirs, LogBase& log);
    bool externalOctets(int index, ExtPtrArraySb& refDirs, DataBuffer& out, LogBase& log);
    int m_secondReadingHash = 0;
    // Further KeyInfo forms (ClsXmlDSig_keyforms.cpp).
    void keysFromFurtherForms(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    void keysFromRetrievalMethods(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    void keysFromDerEncodedKeyValues(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    void keysFromX509Digest(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    void keysFromKeyInfoReference(ClsXml& keyInfo, ExtPtrArrayRc& keys, LogBase& log);
    void keysFromWrapped(const ClsXml& element, bool asKeyValue, ExtPtrArrayRc& keys, LogBase& log);
    ClsXml* sameDocumentElement(const std::string& uri, LogBase& log);
    AlgorithmReadings m_readings;
};

}  // namespace xmldsig
