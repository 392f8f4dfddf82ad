// What qualifies a "valid": a weak digest or signature method, a short key, an algorithm URI
// that is only read as a default, an option that loosens the check. Under the strict policy any
// finding refuses the verdict; otherwise findings are warnings beside it.
#pragma once

#include <string>
#include <vector>

namespace xmldsig {

class ClsXmlDSig;

struct Finding {
    std::string code;  // short and stable, e.g. "weak-digest"
    std::string text;  // for people, e.g. "reference 0 uses SHA-1"
};

class Findings {
  public:
    void add(const std::string& code, const std::string& text) { m_all.push_back({code, text}); }
    const std::vector<Finding>& all() const { return m_all; }
    bool empty() const { return m_all.empty(); }
    // "reference 0 uses SHA-1, RSA key of 1024 bits"
    std::string summary() const;

  private:
    std::vector<Finding> m_all;
};

// The findings of the last verification of the selected signature (dsig has verified it).
// allowDigestErrors: "AllowXmlDigestError" was in effect; referencesChecked: the verification
// checked the reference digests.
void collectFindings(ClsXmlDSig& dsig, bool allowDigestErrors, bool referencesChecked,
                     Findings& out);

}  // namespace xmldsig
