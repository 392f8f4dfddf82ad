#include "support/SignerTools.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <optional>

namespace xmldsig::test {

namespace {

// A file under /tmp holding the given bytes, removed when the object goes.
class TempFile {
  public:
    explicit TempFile(const std::string& content) {
        char tmpl[] = "/tmp/xmldsig_signer_XXXXXX";
        const int fd = mkstemp(tmpl);
        if (fd >= 0) close(fd);
        m_path = tmpl;
        std::ofstream(m_path, std::ios::binary) << content;
    }
    ~TempFile() { std::remove(m_path.c_str()); }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const std::string& path() const { return m_path; }

  private:
    std::string m_path;
};

// Standard output of a shell command; nullopt when it exits with a non-zero status.
std::optional<std::string> run(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::string out;
    char buf[4096];
    std::size_t n;
    while ((n = std::fread(buf, 1, sizeof buf, pipe)) > 0) out.append(buf, n);
    const int status = pclose(pipe);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) return std::nullopt;
    return out;
}

std::string trimmed(std::string s) {
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ')) s.pop_back();
    return s;
}

const std::string& hmacKeyFile() {
    static const TempFile key("family-rules-test-key");
    return key.path();
}

// The text after `open` up to `close`, starting the search at pos; pos moves past `close`.
std::optional<std::string> between(const std::string& text, const std::string& open,
                                   const std::string& close, std::size_t& pos) {
    const std::size_t a = text.find(open, pos);
    if (a == std::string::npos) return std::nullopt;
    const std::size_t b = text.find(close, a + open.size());
    if (b == std::string::npos) return std::nullopt;
    pos = b + close.size();
    return text.substr(a + open.size(), b - a - open.size());
}

}  // namespace

bool signerToolsPresent() {
    static const bool present =
        run("command -v xmllint && command -v xmlsec1 && command -v openssl && command -v base64")
            .has_value();
    return present;
}

std::string xmllintCanonical(const std::string& xml, const char* flag) {
    TempFile in(xml);
    auto out = run(std::string("xmllint --nonet ") + flag + " '" + in.path() + "' 2>/dev/null");
    if (!out) ADD_FAILURE() << "xmllint " << flag << " refused:\n" << xml;
    return out.value_or("");
}

std::string digestBase64(const std::string& bytes, const char* alg) {
    TempFile in(bytes);
    auto out =
        run(std::string("openssl dgst -") + alg + " -binary '" + in.path() + "' | base64 -w0");
    if (!out) ADD_FAILURE() << "openssl dgst -" << alg << " failed";
    return trimmed(out.value_or(""));
}

std::string digestHex(const std::string& bytes, const char* alg) {
    TempFile in(bytes);
    // -r prints "<hex> *<file>"; the hex comes first.
    auto out = run(std::string("openssl dgst -") + alg + " -r '" + in.path() + "'");
    if (!out) ADD_FAILURE() << "openssl dgst -" << alg << " failed";
    const std::string line = out.value_or("");
    return line.substr(0, line.find(' '));
}

std::string base64Of(const std::string& bytes) {
    TempFile in(bytes);
    auto out = run("base64 -w0 '" + in.path() + "'");
    if (!out) ADD_FAILURE() << "base64 failed";
    return trimmed(out.value_or(""));
}

std::vector<XmlsecReference> xmlsecReferences(const std::string& tmpl, const std::string& options) {
    TempFile in(tmpl);
    auto report = run("xmlsec1 --sign --store-references --output /dev/null --hmackey '" +
                      hmacKeyFile() + "' " + options + " '" + in.path() + "' 2>&1");
    std::vector<XmlsecReference> refs;
    if (!report) {
        ADD_FAILURE() << "xmlsec1 --sign " << options << " failed on:\n" << tmpl;
        return refs;
    }
    // Per reference: "== Digest Method:\n=== Transform: NAME (...", the pre-digest buffer, then
    // the base64 digest xmlsec1 computed from it.
    std::size_t pos = 0;
    while (auto method = between(*report, "== Digest Method:\n=== Transform: ", " ", pos)) {
        auto data = between(*report, "== PreDigest data - start buffer:\n",
                            "\n== PreDigest data - end buffer", pos);
        auto digest =
            between(*report, "== Result - start buffer:\n", "\n== Result - end buffer", pos);
        if (!data || !digest) break;
        EXPECT_EQ(digestBase64(*data, method->c_str()), *digest)
            << "the pre-digest text was not read back as xmlsec1 hashed it";
        refs.push_back({*data, *digest});
    }
    if (refs.empty()) ADD_FAILURE() << "no reference in xmlsec1's report:\n" << *report;
    return refs;
}

std::string replaceFirst(std::string text, const std::string& from, const std::string& to) {
    const std::size_t pos = text.find(from);
    if (pos == std::string::npos) {
        ADD_FAILURE() << "text to replace is absent: " << from;
        return text;
    }
    return text.replace(pos, from.size(), to);
}

std::string replaceEvery(std::string text, const std::string& from, const std::string& to) {
    if (text.find(from) == std::string::npos)
        ADD_FAILURE() << "text to replace is absent: " << from;
    for (std::size_t pos = text.find(from); pos != std::string::npos;
         pos = text.find(from, pos + to.size())) {
        text.replace(pos, from.size(), to);
    }
    return text;
}

std::string spanOf(const std::string& text, const std::string& open, const std::string& close) {
    const std::size_t a = text.find(open);
    const std::size_t b = a == std::string::npos ? a : text.find(close, a);
    if (b == std::string::npos) {
        ADD_FAILURE() << "span " << open << " ... " << close << " is absent";
        return "";
    }
    return text.substr(a, b + close.size() - a);
}

std::string withoutSpan(const std::string& text, const std::string& open,
                        const std::string& close) {
    const std::string span = spanOf(text, open, close);
    return span.empty() ? text : replaceFirst(text, span, "");
}

}  // namespace xmldsig::test
