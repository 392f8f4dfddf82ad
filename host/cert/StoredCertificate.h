// A certificate as a store keeps it: the parsed certificate (through its holder) and the keys
// the store searches by, worked out once when the certificate is added.
#pragma once

#include <string>

#include "host/cert/TavolinX509Holder.h"
#include "host/text/DataBuffer.h"

namespace xmldsig {

class LogBase;

class StoredCertificate {
  public:
    StoredCertificate() = default;
    StoredCertificate(const StoredCertificate&) = delete;
    StoredCertificate& operator=(const StoredCertificate&) = delete;
    ~StoredCertificate();

    // Parses the DER and works out the search keys. False (logged) on a bad certificate.
    bool loadDer(const DataBuffer& der, LogBase& log);

    TavolinX509Holder& x509Holder() { return m_x509Holder; }
    // The certificate (null only when the holder could not create one).
    TavolinX509* getX509() const { return m_x509Holder.getX509Ptr(); }

    // Search keys.
    const std::string& subjectKey() const { return m_subjectKey; }  // toTvCanonHashKey form
    const std::string& subjectTaglessKey() const { return m_subjectTaglessKey; }
    const std::string& issuerKey() const { return m_issuerKey; }
    const std::string& issuerCnKey() const { return m_issuerCnKey; }  // normalized issuer CN
    const std::string& serialHex() const { return m_serialHex; }      // get_SerialNumber form
    const DataBuffer& keyId() const { return m_keyId; }  // SKI, or computed when absent
    const DataBuffer& sha256() const { return m_sha256; }

  private:
    TavolinX509Holder m_x509Holder;
    std::string m_subjectKey;
    std::string m_subjectTaglessKey;
    std::string m_issuerKey;
    std::string m_issuerCnKey;
    std::string m_serialHex;
    DataBuffer m_keyId;
    DataBuffer m_sha256;
};

}  // namespace xmldsig
