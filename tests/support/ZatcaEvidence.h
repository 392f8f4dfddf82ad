// Independent evidence about ZATCA e-invoices, computed with xmllint and openssl (never with
// the verifier): what the signer should have hashed, and what the document stores.
#pragma once

#include <string>

namespace xmldsig::test {

// The content of the n-th (from 0) element with that tag, as written.
std::string elementText(const std::string& xml, const std::string& tag, int n = 0);
std::string withoutWhiteSpace(std::string s);
// DigestValue of the reference at index (0 the invoice, 1 the SignedProperties).
std::string storedDigest(const std::string& xml, int index);
// The invoice hash ZATCA defines: the invoice without its extensions, cac:Signature and QR
// reference, in Canonical XML 1.1 without comments, SHA-256, base64.
std::string zatcaInvoiceHash(const std::string& xml);
// True for a ZATCA invoice (it carries the QR AdditionalDocumentReference).
bool isZatcaInvoice(const std::string& xml);

}  // namespace xmldsig::test
