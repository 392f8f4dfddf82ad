// The text services that rewrite a document before it is digested: signature removal, the
// enveloped-signature cut, and the document-family rules (SII extract, ZATCA invoice, SWIFT LAU,
// the chunk removals of the XPath cases).
#include <memory>

#include "FuzzInput.h"
#include "dsig/ClsXmlDSig.h"
#include "host/log/LogNull.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/XmlSigRemoval.h"
#include "host/xml/_tvXmlDtd.h"
#include "support/TransformTestAccess.h"

using namespace xmldsig;
using Access = TransformTestAccess;

XMLDSIG_FUZZ_TARGET(rewrite_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const uint8_t mode = in.byte();
    const std::string arg = in.shortText(24);
    StringBuffer text = in.restSb();
    LogNull log;
    std::unique_ptr<ClsXmlDSig> dsig(ClsXmlDSig::createNewCls());
    if (!dsig) return 0;
    switch (mode % 8) {
        case 0: {
            _tvXmlDtd dtd;
            StringBuffer out;
            XmlSigRemoval::removeSignatures(text, dtd, out, log);
            break;
        }
        case 1:
            Access::extractSiiDte(*dsig, text, arg.c_str(), true, log);
            break;
        case 2:
            Access::zatcaInvoice(*dsig, text, log);
            break;
        case 3:
            Access::postProcess(*dsig, text, log);
            break;
        case 4:
            Access::removeXmlChunk(*dsig, arg.c_str(), "</Signature>", text, log);
            break;
        case 5:
            Access::removeXmlChunkContaining(*dsig, "<cac:AdditionalDocumentReference>",
                                             "</cac:AdditionalDocumentReference>", arg.c_str(),
                                             text, log);
            break;
        case 6: {  // the span a locator would give: a Signature start tag to its end tag
            const std::string& s = text.str();
            const std::size_t start = s.find("<ds:Signature");
            const std::size_t end =
                start == std::string::npos ? start : s.find("Signature>", start);
            if (end == std::string::npos) break;
            Access::removeSignatureAndFollowing(*dsig, text, static_cast<unsigned>(start),
                                                static_cast<unsigned>(end + 10 - start), log);
            break;
        }
        default: {
            ClsBinData doc;
            doc.m_data.append(in.data(), in.size());
            if (!dsig->LoadSignatureBd(doc)) break;
            StringBuffer working(Access::xmlText(*dsig));
            DSigReference ref;
            Access::enveloped(*dsig, working, ref, log);
        }
    }
    return 0;
}
