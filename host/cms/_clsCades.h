// Shared state of components that check CMS structures (timestamp tokens, CAdES): the options
// that govern how those checks are made, as a JSON object text.
#pragma once

#include "host/text/StringBuffer.h"

namespace xmldsig {

class _clsCades {
  public:
    virtual ~_clsCades() = default;

    void get_CmsOptions(StringBuffer& out) const { out.setString(m_cmsOptions); }
    void put_CmsOptions(const StringBuffer& options) { m_cmsOptions.setString(options); }

  protected:
    StringBuffer m_cmsOptions;
};

}  // namespace xmldsig
