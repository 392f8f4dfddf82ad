// Reference digests: the public entry point, the retry around one attempt, and external
// references (caller data or a file found in the reference directories).
#include <memory>

#include "dsig/ClsXmlDSig.h"
#include "host/crypto/_tvHash.h"
#include "host/log/CritSecExitor.h"
#include "host/log/LogContextExitor.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/text/ContentCoding.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsXml.h"
#include "host/xml/FileSys.h"
#include "host/xml/_tvFileDataSource.h"
#include "host/xml/_tvFilePath.h"

namespace xmldsig {

namespace {

// A URI that could reach outside the reference directories is never joined to them: one with a
// scheme (http:, file:...), an absolute path, a drive letter or a ".." segment.
bool isConfinedRelativePath(const StringBuffer& uri) {
    const std::string& s = uri.str();
    if (s.empty() || s[0] == '/' || s[0] == '\\') return false;
    for (char c : s) {
        if (c == ':') return false;  // a scheme or a drive letter
        if (c == '/' || c == '\\' || c == '?' || c == '#') break;
    }
    std::size_t start = 0;
    while (start <= s.size()) {
        std::size_t end = s.find_first_of("/\\", start);
        if (end == std::string::npos) end = s.size();
        if (s.compare(start, end - start, "..") == 0) return false;
        start = end + 1;
    }
    return true;
}

void splitRefDirs(const XString& dirs, ExtPtrArraySb& out) {
    if (dirs.isEmpty()) return;
    dirs.getUtf8Sb().split(out, ';', true, true);
}

}  // namespace

bool ClsXmlDSig::VerifyReferenceDigest(int index) {
    CritSecExitor lock(this);
    LogContextExitor ctx(*this, "VerifyReferenceDigest");
    m_log.clearLastJsonData();
    m_log.LogDataSb("uncommonOptions", m_log.uncommonOptions());
    checkSetZatca(m_log);
    checkSetMyInvois(m_log);
    ExtPtrArraySb refDirs;
    splitRefDirs(m_externalRefDirs, refDirs);
    bool missingExternalData = false;
    if (!referenceCountWithinCap(m_log)) {
        m_refFailReason = 99;
        logSuccessFailure(false);
        return false;
    }
    bool ok = verifyReferenceDigest(index, missingExternalData, refDirs, m_log);
    logSuccessFailure(ok);
    return ok;
}

bool ClsXmlDSig::verifyReferenceFirstReading(int index, bool& missingExternalData,
                                             ExtPtrArraySb& refDirs, LogBase& log) {
    LogContextExitor ctx(log, "verifyReferenceDigest");
    if (verifyReferenceDigest2(index, missingExternalData, refDirs, log)) return true;
    log.LogDataLong("invalidDigestReason", m_refFailReason);
    if (m_refFailReason != RefFail::kDigestMismatch) return false;

    if (m_emulateSortBug) {
        log.LogInfo(
            "Retry without duplication of common XML canonicalization attribute sorting bug...");
        m_emulateSortBug = false;
        return verifyReferenceDigest2(index, missingExternalData, refDirs, log);
    }
    if (m_noSortBugRetry) return false;
    log.LogInfo("Retry with duplication of common XML canonicalization attribute sorting bug...");
    m_emulateSortBug = true;
    if (!verifyReferenceDigest2(index, missingExternalData, refDirs, log)) return false;
    log.LogInfo("This signature was produced by software having the attribute sorting bug.");
    return true;
}

namespace {

// Looks for the referenced file in the reference directories; null when none holds it.
std::unique_ptr<DSigRefExternalData> findInRefDirs(const StringBuffer& uri, ExtPtrArraySb& refDirs,
                                                   LogBase& log) {
    log.LogDataSb("externalRefFileName", uri);
    if (!isConfinedRelativePath(uri)) {
        log.LogError("The external URI is not a relative path inside the reference directories.");
        return nullptr;
    }
    for (int i = 0; i < refDirs.getSize(); ++i) {
        StringBuffer* dir = refDirs.sbAt(i);
        if (dir == nullptr || dir->getSize() == 0) continue;
        log.LogDataSb("externalRefDir", *dir);
        StringBuffer path;
        _tvFilePath::CombineDirAndFilepath(*dir, uri, path);
        log.LogDataSb("pathToCheck", path);
        bool checkFailed = false;
        if (!FileSys::fileExistsX(path.getString(), checkFailed, log)) continue;
        log.LogDataSb("usingFile", path);
        auto found = std::make_unique<DSigRefExternalData>();
        found->m_filePath.setFromSbUtf8(path);
        return found;
    }
    return nullptr;
}

}  // namespace

bool ClsXmlDSig::verifyReferenceDigest2(int index, bool& missingExternalData,
                                        ExtPtrArraySb& refDirs, LogBase& log) {
    LogContextExitor ctx(log, "verifyReferenceDigest_inner");
    m_lastHashed.clear();
    m_lastHashedFile.clear();
    m_lastHashedKept = false;
    missingExternalData = false;
    m_refFailReason = RefFail::kOther;
    m_refFailDetail.clear();

    StringBuffer sigId;
    selectedSignatureId(sigId, log);
    log.LogDataSb("selectedSignatureId", sigId);
    log.LogDataLong("index", index);

    ClsXml* refXml = getReference(index, log);
    if (refXml == nullptr) {
        log.LogError("No Reference at index");
        m_refFailReason = RefFail::kNoReference;
        return false;
    }
    RefCountedObjectOwner refOwner(refXml);
    DSigReference reference;
    reference.parseReference(*refXml, log);
    StringBuffer uri;
    uri.setString(reference.m_uri);
    uri.trim2();

    if (uri.beginsWith("#")) {
        uri.removeChunk(0, 1);
        log.LogDataSb("sameDocumentUri", uri);
        return verifyInternalReference(index, uri, reference, log);
    }
    if (uri.getSize() == 0) {
        if (!m_isCmaStp) log.LogInfo("URI is the entire XML document.");
        return verifyInternalReference(index, uri, reference, log);
    }

    log.LogDataSb("externalUri", uri);
    std::unique_ptr<DSigRefExternalData> fromDirs;
    // Data the caller set belongs to SignedInfo's references, not to a Manifest's.
    DSigRefExternalData* data = m_manifest != nullptr ? nullptr : getExtRef(index, false, log);
    if (data == nullptr && refDirs.getSize() != 0) {
        fromDirs = findInRefDirs(uri, refDirs, log);
        data = fromDirs.get();
    }
    if (data == nullptr) {
        log.LogError("No external data defined for this reference.");
        log.LogInfo(
            "Hint 1: Set the IgnoreExternalRefs property to verify without checking "
            "digests for external file references.");
        log.LogInfo(
            "Hint 2: Set the ExternalRefDirs property to specify a set of directories to "
            "look for the referenced file.");
        missingExternalData = true;
        m_refFailReason = RefFail::kExternalMissing;
        return false;
    }

    const int hashAlg = referenceHash(reference);
    DataBuffer digest;
    if (data->m_data.getSize() != 0) {
        if (DataBuffer* record = hashRecord()) {
            record->clear();
            record->append(data->m_data);
        }
        _tvHash::doHash(data->m_data.getData2(), data->m_data.getSize(), hashAlg, digest);
    } else {
        if (m_keepHashedData) m_lastHashedFile.copyFromX(data->m_filePath);
        _tvFileDataSource source;
        if (!source.openDataSourceFile(data->m_filePath.getUtf8(), log)) return false;
        if (!_tvHash::hashDataSource(source, hashAlg, nullptr, digest, nullptr, log)) {
            log.LogError("Failed to hash the external file data.");
            m_refFailReason = RefFail::kExternalMissing;
            return false;
        }
    }
    fromDirs.reset();

    StringBuffer calculated;
    digest.encodeDB("base64", calculated);
    log.LogDataSb("calculatedDigest", calculated);
    log.LogDataSb("storedRefDigest", reference.m_digestValue);
    const bool match = calculated.equals(reference.m_digestValue);
    m_refFailReason = match ? RefFail::kMatched : RefFail::kDigestMismatch;
    return match;
}

void ClsXmlDSig::put_KeepHashedData(bool keep) {
    CritSecExitor lock(this);
    m_keepHashedData = keep;
}

bool ClsXmlDSig::GetHashedData(ClsBinData& out, XString& filePath) {
    CritSecExitor lock(this);
    out.m_data.clear();
    out.m_data.append(m_lastHashed);
    filePath.copyFromX(m_lastHashedFile);
    return m_lastHashedKept || m_lastHashed.getSize() != 0 || !m_lastHashedFile.isEmpty();
}

}  // namespace xmldsig
