// Verifications per second, in process and single-threaded, of an enveloped signature over
// invoices of about 3 KB, 1 MB and 5 MB: ClsXmlDSig::VerifySignature side by side with libxmlsec1
// (xmlSecDSigCtxVerify) linked into the same program. Each iteration starts from the document
// text and a key loaded once, as a server verifying one request after another would: load
// (parse), every reference digest, SignedInfo and the RSA-SHA256 signature value.
//
// The documents are signed by libxmlsec1 (enveloped-signature and exclusive c14n transforms,
// SHA-256, RSA-SHA256) with a key made by the openssl tool. Both verifiers must report the
// signature valid before anything is timed; a tampered copy must fail for both.
#include <benchmark/benchmark.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <xmlsec/crypto.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/xmltree.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include "bench/bench_support.h"
#include "dsig/ClsXmlDSig.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/xml/ClsStringBuilder.h"

namespace xmldsig::bench {
namespace {

const char kSignatureTemplate[] =
    "  <ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">\n"
    "    <ds:SignedInfo>\n"
    "      <ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>\n"
    "      <ds:SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>\n"
    "      <ds:Reference URI=\"\">\n        <ds:Transforms>\n"
    "          <ds:Transform "
    "Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>\n"
    "          <ds:Transform Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>\n"
    "        </ds:Transforms>\n"
    "        <ds:DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/>\n"
    "        <ds:DigestValue/>\n      </ds:Reference>\n    </ds:SignedInfo>\n"
    "    <ds:SignatureValue/>\n  </ds:Signature>\n";

struct XmlDocFree {
    void operator()(xmlDoc* d) const { xmlFreeDoc(d); }
};
struct DsigCtxFree {
    void operator()(xmlSecDSigCtx* c) const { xmlSecDSigCtxDestroy(c); }
};
struct KeyFree {
    void operator()(xmlSecKey* k) const { xmlSecKeyDestroy(k); }
};
using XmlDocPtr = std::unique_ptr<xmlDoc, XmlDocFree>;
using DsigCtxPtr = std::unique_ptr<xmlSecDSigCtx, DsigCtxFree>;
using KeyPtr = std::unique_ptr<xmlSecKey, KeyFree>;
struct Release {
    void operator()(ClsPublicKey* k) const { k->decRefCount(); }
};
using PublicKeyPtr = std::unique_ptr<ClsPublicKey, Release>;

// The key pair, libxmlsec1 and the signed documents, made once for the whole run.
class Fixture {
  public:
    static Fixture& get() {
        static Fixture f;
        return f;
    }
    const std::string& error() const { return m_error; }
    const std::string& signedDocument(std::int64_t bytes);
    xmlSecKey* xmlsecKey() const { return m_xmlsecKey.get(); }
    const std::string& certPath() const { return m_certPath; }

  private:
    Fixture();
    std::string sign(const std::string& templateText);

    ScratchDir m_dir;
    std::string m_keyPath, m_certPath, m_error;
    KeyPtr m_signKey, m_xmlsecKey;
    std::map<std::int64_t, std::string> m_docs;
};

Fixture::Fixture() {
    m_keyPath = m_dir.file("key.pem");
    m_certPath = m_dir.file("cert.pem");
    std::string out;
    if (!commandOutput("openssl req -x509 -newkey rsa:2048 -nodes -subj '/CN=xmldsig bench' "
                       "-days 30 -keyout '" +
                           m_keyPath + "' -out '" + m_certPath + "' 2>/dev/null",
                       out)) {
        m_error = "openssl could not make the key pair";
        return;
    }
    xmlInitParser();
    if (xmlSecInit() < 0 || xmlSecCryptoAppInit(nullptr) < 0 || xmlSecCryptoInit() < 0) {
        m_error = "libxmlsec1 could not be initialized";
        return;
    }
    m_signKey.reset(xmlSecCryptoAppKeyLoad(m_keyPath.c_str(), xmlSecKeyDataFormatPem, nullptr,
                                           nullptr, nullptr));
    m_xmlsecKey.reset(xmlSecCryptoAppKeyLoad(m_certPath.c_str(), xmlSecKeyDataFormatCertPem,
                                             nullptr, nullptr, nullptr));
    if (!m_signKey || !m_xmlsecKey) m_error = "libxmlsec1 could not load the key pair";
}

std::string Fixture::sign(const std::string& templateText) {
    XmlDocPtr doc(xmlReadMemory(templateText.data(), static_cast<int>(templateText.size()),
                                "template.xml", nullptr, XML_PARSE_NONET));
    xmlNode* sig =
        doc ? xmlSecFindNode(xmlDocGetRootElement(doc.get()), xmlSecNodeSignature, xmlSecDSigNs)
            : nullptr;
    DsigCtxPtr ctx(xmlSecDSigCtxCreate(nullptr));
    if (sig == nullptr || !ctx) return {};
    ctx->signKey = xmlSecKeyDuplicate(m_signKey.get());
    if (ctx->signKey == nullptr || xmlSecDSigCtxSign(ctx.get(), sig) < 0) return {};
    xmlChar* mem = nullptr;
    int size = 0;
    xmlDocDumpMemory(doc.get(), &mem, &size);
    std::string text(reinterpret_cast<const char*>(mem), mem ? static_cast<std::size_t>(size) : 0);
    xmlFree(mem);
    return text;
}

const std::string& Fixture::signedDocument(std::int64_t bytes) {
    std::string& doc = m_docs[bytes];
    if (!doc.empty() || !m_error.empty()) return doc;
    std::string text = invoiceDocument(static_cast<std::size_t>(bytes));
    const std::size_t end = text.rfind("</Invoice>");
    text.insert(end, kSignatureTemplate);
    doc = sign(text);
    if (doc.empty()) m_error = "libxmlsec1 could not sign the invoice";
    return doc;
}

// One verification by libxmlsec1: parse, locate, verify; true for a valid signature.
bool xmlsecVerifies(const std::string& text, xmlSecKey* key) {
    XmlDocPtr doc(xmlReadMemory(text.data(), static_cast<int>(text.size()), "doc.xml", nullptr,
                                XML_PARSE_NONET));
    xmlNode* sig =
        doc ? xmlSecFindNode(xmlDocGetRootElement(doc.get()), xmlSecNodeSignature, xmlSecDSigNs)
            : nullptr;
    DsigCtxPtr ctx(xmlSecDSigCtxCreate(nullptr));
    if (sig == nullptr || !ctx) return false;
    ctx->signKey = xmlSecKeyDuplicate(key);
    return ctx->signKey != nullptr && xmlSecDSigCtxVerify(ctx.get(), sig) >= 0 &&
           ctx->status == xmlSecDSigStatusSucceeded;
}

// One verification by ClsXmlDSig with the signer's certificate given as the key.
bool xmldsigVerifies(const ClsStringBuilder& text, ClsPublicKey& key) {
    std::unique_ptr<ClsXmlDSig, void (*)(ClsXmlDSig*)> dsig(ClsXmlDSig::createNewCls(),
                                                            [](ClsXmlDSig* d) { delete d; });
    return dsig && dsig->LoadSignatureSb(text) && dsig->SetPublicKey(key) &&
           dsig->VerifySignature(true);
}

// The valid document must verify with both, and a copy with one line item changed with neither.
std::string checkBothAgree(const std::string& text, ClsPublicKey& key) {
    Fixture& f = Fixture::get();
    ClsStringBuilder sb;
    sb.SetString(text.c_str());
    if (!xmldsigVerifies(sb, key)) return "xmldsig does not verify the signed invoice";
    if (!xmlsecVerifies(text, f.xmlsecKey())) return "libxmlsec1 does not verify the invoice";
    std::string tampered = text;
    const std::size_t at = tampered.find("<cbc:ID>1</cbc:ID>");
    if (at == std::string::npos) return "no line item to tamper with";
    tampered.replace(at, 18, "<cbc:ID>7</cbc:ID>");
    sb.SetString(tampered.c_str());
    if (xmldsigVerifies(sb, key)) return "xmldsig verifies a tampered invoice";
    if (xmlsecVerifies(tampered, f.xmlsecKey())) return "libxmlsec1 verifies a tampered invoice";
    return {};
}

PublicKeyPtr loadCertificateKey(std::string& error) {
    PublicKeyPtr key(ClsPublicKey::createNewCls());
    if (!key || !key->LoadFromFile(XString(Fixture::get().certPath().c_str()))) {
        error = "xmldsig could not load the certificate's key";
        key.reset();
    }
    return key;
}

void BM_VerifyXmldsig(benchmark::State& state) {
    Fixture& f = Fixture::get();
    const std::string& text = f.signedDocument(state.range(0));
    std::string error = f.error();
    PublicKeyPtr key = error.empty() ? loadCertificateKey(error) : nullptr;
    if (error.empty()) error = checkBothAgree(text, *key);
    if (!error.empty()) return state.SkipWithError(error.c_str());
    ClsStringBuilder sb;
    sb.SetString(text.c_str());
    for (auto _ : state) {
        if (!xmldsigVerifies(sb, *key)) return state.SkipWithError("verification failed");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void BM_VerifyXmlsec1(benchmark::State& state) {
    Fixture& f = Fixture::get();
    const std::string& text = f.signedDocument(state.range(0));
    if (!f.error().empty()) return state.SkipWithError(f.error().c_str());
    for (auto _ : state) {
        if (!xmlsecVerifies(text, f.xmlsecKey())) return state.SkipWithError("verification failed");
    }
    state.SetItemsProcessed(state.iterations());
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

BENCHMARK(BM_VerifyXmldsig)->Arg(3072)->Arg(1 << 20)->Arg(5 << 20)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_VerifyXmlsec1)->Arg(3072)->Arg(1 << 20)->Arg(5 << 20)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace xmldsig::bench

BENCHMARK_MAIN();
