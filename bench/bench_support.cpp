#include "bench/bench_support.h"

#include <sys/resource.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <vector>

namespace xmldsig::bench {

ScratchDir::ScratchDir() {
    char tmpl[] = "/tmp/xmldsig_bench_XXXXXX";
    if (mkdtemp(tmpl) != nullptr)
        m_path = tmpl;
    else
        std::perror("mkdtemp");
}

ScratchDir::~ScratchDir() {
    if (m_path.empty()) return;
    const std::string cmd = "rm -rf '" + m_path + "'";
    if (std::system(cmd.c_str()) != 0)
        std::fprintf(stderr, "could not remove %s\n", m_path.c_str());
}

bool writePatternFile(const std::string& path, std::uint64_t bytes) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (f == nullptr) {
        std::perror(path.c_str());
        return false;
    }
    // xorshift64: cheap, reproducible bytes that no compressor or dedup layer can shortcut.
    std::uint64_t state = 0x9E3779B97F4A7C15ull;
    std::vector<unsigned char> chunk(1u << 20);
    bool ok = true;
    for (std::uint64_t left = bytes; left > 0 && ok;) {
        for (std::size_t i = 0; i < chunk.size(); i += 8) {
            state ^= state << 13;
            state ^= state >> 7;
            state ^= state << 17;
            for (int b = 0; b < 8; ++b) chunk[i + b] = static_cast<unsigned char>(state >> (8 * b));
        }
        const std::size_t n = left < chunk.size() ? static_cast<std::size_t>(left) : chunk.size();
        ok = std::fwrite(chunk.data(), 1, n, f) == n;
        left -= n;
    }
    if (std::fclose(f) != 0) ok = false;
    if (!ok) std::fprintf(stderr, "writing %s failed\n", path.c_str());
    return ok;
}

std::uint64_t freeDiskBytes(const std::string& path) {
    struct statvfs st {};
    if (statvfs(path.c_str(), &st) != 0) return 0;
    return static_cast<std::uint64_t>(st.f_bavail) * st.f_frsize;
}

bool commandOutput(const std::string& command, std::string& out) {
    out.clear();
    std::FILE* p = popen(command.c_str(), "r");
    if (p == nullptr) return false;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    return pclose(p) == 0;
}

bool writeTextFile(const std::string& path, const std::string& text) {
    std::ofstream f(path, std::ios::binary);
    f << text;
    f.close();
    if (!f) std::fprintf(stderr, "writing %s failed\n", path.c_str());
    return static_cast<bool>(f);
}

std::string opensslDigestBase64(const std::string& path, const char* alg) {
    std::string out;
    const std::string cmd =
        std::string("openssl dgst -") + alg + " -binary '" + path + "' | base64 -w0";
    return commandOutput(cmd, out) ? out : std::string();
}

std::string detachedSignature(const std::string& uri, const char* digestAlgorithmUri,
                              const std::string& digestBase64) {
    return "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\">\n"
           "<ds:SignedInfo>\n"
           "<ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>\n"
           "<ds:SignatureMethod "
           "Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256\"/>\n"
           "<ds:Reference URI=\"" +
           uri + "\">\n<ds:DigestMethod Algorithm=\"" + digestAlgorithmUri +
           "\"/>\n<ds:DigestValue>" + digestBase64 +
           "</ds:DigestValue>\n</ds:Reference>\n</ds:SignedInfo>\n"
           "<ds:SignatureValue>AA==</ds:SignatureValue>\n</ds:Signature>\n";
}

namespace {

void appendLine(std::string& doc, unsigned n) {
    const std::string id = std::to_string(n);
    const std::string qty = std::to_string(1 + n % 9);
    doc +=
        "  <cac:InvoiceLine status=\"open\" id=\"L" + id +
        "\" cbc:schemeID=\"line\">\n"
        "    <cbc:ID>" +
        id +
        "</cbc:ID>\n"
        "    <cbc:InvoicedQuantity unitCode=\"EA\">" +
        qty +
        "</cbc:InvoicedQuantity>\n"
        "    <cbc:LineExtensionAmount currencyID=\"EUR\">" +
        qty +
        "0.00</cbc:LineExtensionAmount>\n"
        "    <cac:Item><cbc:Description>Widget &amp; bolt, size " +
        id + "</cbc:Description><cbc:Name>Item " + id +
        "</cbc:Name></cac:Item>\n"
        "    <cac:Price><cbc:PriceAmount currencyID=\"EUR\">10.00</cbc:PriceAmount></cac:Price>\n"
        "  </cac:InvoiceLine>\n";
}

}  // namespace

std::string invoiceDocument(std::size_t targetBytes) {
    std::string doc =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<Invoice xmlns=\"urn:example:invoice\" xmlns:cac=\"urn:example:aggregate\"\n"
        "         xmlns:cbc=\"urn:example:basic\" xmlns:unused=\"urn:example:unused\">\n"
        "  <cbc:ID>INV-2026-0001</cbc:ID>\n"
        "  <cbc:IssueDate>2026-11-21</cbc:IssueDate>\n"
        "  <cac:Seller country=\"SE\" name=\"Example &amp; Sons\"><cbc:Name>Example</cbc:Name>"
        "</cac:Seller>\n"
        "  <cac:Buyer name=\"Buyer AB\" country=\"NO\"><cbc:Name>Buyer</cbc:Name></cac:Buyer>\n";
    const std::string tail = "  <cbc:Total currencyID=\"EUR\">0.00</cbc:Total>\n</Invoice>\n";
    doc.reserve(targetBytes + 1024);
    for (unsigned n = 1; doc.size() + tail.size() < targetBytes; ++n) appendLine(doc, n);
    return doc + tail;
}

long peakRssKib() {
    struct rusage ru {};
    if (getrusage(RUSAGE_SELF, &ru) != 0) return -1;
    return ru.ru_maxrss;
}

}  // namespace xmldsig::bench
