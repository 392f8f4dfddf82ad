// Shared state of components that check or make CMS structures (timestamp tokens, CAdES): the
// options that govern how those checks are made, as a JSON object text, and the HTTP object
// through which a timestamp authority is reached.
//
// Options understood: "VerifyTsaCertChain": true also requires the certificate that signed a
// timestamp token to chain to a certificate of the verifier's store (by default the token's
// signature is checked against the certificate it carries, whoever issued it). "MaxReferences"
// and "MaxTransforms" raise the verifier's caps on references per SignedInfo and transforms
// per reference.
#pragma once

#include "host/text/StringBuffer.h"

namespace xmldsig {

class ClsHttp;
class LogBase;
class XString;

class _clsCades {
  public:
    _clsCades() = default;
    _clsCades(const _clsCades&) = delete;
    _clsCades& operator=(const _clsCades&) = delete;
    virtual ~_clsCades();

    void get_CmsOptions(StringBuffer& out) const { out.setString(m_cmsOptions); }
    void put_CmsOptions(const StringBuffer& options) { m_cmsOptions.setString(options); }
    void get_CmsOptions(XString& out) const;
    void put_CmsOptions(const XString& options);

    // Keeps a counted reference to http for later timestamp requests (null drops it).
    void setTsaHttpObj(ClsHttp* http, LogBase& log);
    // The HTTP object set last (borrowed), or null.
    ClsHttp* tsaHttpObj() const { return m_tsaHttp; }

    // A boolean member of the options object; dflt when the options are empty or do not hold
    // it. Options that are not a JSON object are logged and read as empty.
    bool cmsOptionBool(const char* name, bool dflt, LogBase& log) const;
    // A non-negative integer member, the same way; a member that is not one is logged and
    // read as dflt.
    int cmsOptionInt(const char* name, int dflt, LogBase& log) const;

  protected:
    StringBuffer m_cmsOptions;

  private:
    ClsHttp* m_tsaHttp = nullptr;  // one reference
};

}  // namespace xmldsig
