// A caller's collection of certificates, handed to a verifier (UseCertVault) to widen the set
// of certificates that KeyInfo may name by issuer and serial, subject name or key identifier.
// Certificates come from PEM, DER or base64 files and text, from every file of a directory,
// and from PKCS#12 files (with their password; only the certificates are kept).
#pragma once

#include <vector>

#include "host/log/ClsBase.h"

namespace xmldsig {

class CertMgr;
class ClsBinData;
class DataBuffer;
class XString;

class ClsXmlCertVault : public ClsBase {
  public:
    // Null (never an exception) when construction fails.
    static ClsXmlCertVault* createNewCls();
    ClsXmlCertVault();
    ~ClsXmlCertVault() override;

    // Every certificate of a PEM file (a bundle may hold many), or the one of a DER or base64
    // file. False when the file cannot be read or holds no certificate.
    bool AddCertFile(const XString& path);
    // Every certificate of PEM text, or the one certificate of base64 text.
    bool AddCertString(const XString& text);
    // One DER certificate (or PEM / base64 text given as bytes).
    bool AddCertBinary(const ClsBinData& data);
    // Every certificate of every file directly in the directory; files that hold none are
    // skipped. False when the directory cannot be read or no file held a certificate.
    bool AddCertDir(const XString& dirPath);
    // The certificates of a PKCS#12 (.pfx/.p12) file: the key's certificate and any others it
    // carries. False on a wrong password (the log says so) or a damaged file.
    bool AddPfxFile(const XString& path, const XString& password);
    // The same from the file's bytes.
    bool AddPfxBinary(const ClsBinData& data, const XString& password);

    int get_NumCerts();

    // The certificate manager behind the vault (borrowed); null only when it could not be
    // created.
    CertMgr* getCertMgr();

  private:
    bool addCerts(const std::vector<DataBuffer>& ders, LogBase& log);
    bool addPfx(const DataBuffer& p12, const XString& password, LogBase& log);

    CertMgr* m_certMgr = nullptr;  // one reference
};

}  // namespace xmldsig
