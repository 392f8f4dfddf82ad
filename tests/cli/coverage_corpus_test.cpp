// Coverage and signed bytes of every corpus reference, checked by other software: the element
// that `covers` names for a URI="" or "#id" reference is the one xmllint's XPath finds, and the
// bytes `refs --signed-out` writes for a matching reference hash, under openssl dgst, to the
// DigestValue that xmllint reads from the document.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/CliRunner.h"
#include "support/CorpusVerify.h"
#include "support/DsigTestUtil.h"
#include "support/Manifest.h"

namespace xmldsig::test {
namespace {

std::string shellOut(const std::string& command) {
    std::string out;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buf[4096];
        for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, pipe)) > 0;) out.append(buf, n);
        pclose(pipe);
    }
    while (!out.empty() && (out.back() == '\n' || out.back() == ' ')) out.pop_back();
    return out;
}

std::string shellQuoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string xpath(const std::string& file, const std::string& expr) {
    return shellOut("xmllint --nonet --xpath " + shellQuoted(expr) + " " + shellQuoted(file) +
                    " 2>/dev/null");
}

// The XPath of a path of local names: "/a/b" -> "/*[local-name()='a']/*[local-name()='b']".
std::string localNamePath(const std::string& path) {
    std::string out;
    for (std::size_t at = 1; at <= path.size();) {
        const std::size_t next = std::min(path.find('/', at), path.size());
        out += "/*[local-name()='" + path.substr(at, next - at) + "']";
        at = next + 1;
    }
    return out;
}

const char* opensslName(const std::string& digestUri) {
    static const std::pair<const char*, const char*> names[] = {
        {"sha256", "sha256"}, {"sha384", "sha384"}, {"sha512", "sha512"},      {"sha224", "sha224"},
        {"sha1", "sha1"},     {"md5", "md5"},       {"ripemd160", "ripemd160"}};
    for (const auto& n : names)
        if (digestUri.find(n.first) != std::string::npos) return n.second;
    return nullptr;
}

struct Counts {
    int elements = 0, documents = 0, digests = 0, unreadable = 0;
};

// A matching reference's signed-out bytes and the DigestValue the document stores, compared
// once openssl has hashed every file.
struct PendingDigest {
    std::string where, file, alg, stored;
    bool hexForm;  // ZATCA may store the base64 of the digest's hex text instead
};

std::string base64(const std::string& bytes) {
    static const char* const k = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        unsigned v = static_cast<unsigned char>(bytes[i]) << 16;
        if (i + 1 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 1]) << 8;
        if (i + 2 < bytes.size()) v |= static_cast<unsigned char>(bytes[i + 2]);
        for (std::size_t d = 0; d < 4; ++d)
            out += d < 2 || i + d - 1 < bytes.size() ? k[(v >> (18 - 6 * d)) & 63] : '=';
    }
    return out;
}

std::string fromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    return bytes;
}

void checkSignature(const std::string& file, int sig, const nlohmann::json& refs,
                    const std::string& dir, bool hexForm, Counts& n,
                    std::vector<PendingDigest>& pending) {
    const std::string refPath =
        "(//*[local-name()='Signature' and namespace-uri()='http://www.w3.org/2000/09/xmldsig#']"
        "|//*[local-name()='AuthSignature'])[" +
        std::to_string(sig + 1) + "]/*[local-name()='SignedInfo']/*[local-name()='Reference']";
    for (const auto& r : refs) {
        const int i = r["index"];
        const auto& c = r["covers"];
        const std::string where = file + "#" + std::to_string(sig) + " ref " + std::to_string(i);
        // One xmllint run per reference: the element count, the root's name, the DigestValue.
        std::string count = "0";
        if (c["kind"] == "element" && r["uri"].get<std::string>().rfind("#xpointer", 0) != 0)
            count = "count(" + localNamePath(c["path"]) +
                    "[@*[local-name()='Id' or local-name()='ID' or local-name()='id']='" +
                    c["id"].get<std::string>() + "'])";
        const std::string answer =
            xpath(file, "concat(" + count + ",'|',local-name(/*),'|',normalize-space(" + refPath +
                            "[" + std::to_string(i + 1) + "]/*[local-name()='DigestValue']))");
        const auto bar1 = answer.find('|'), bar2 = answer.find('|', bar1 + 1);
        ASSERT_NE(bar2, std::string::npos) << where << ": " << answer;
        if (c["kind"] == "element" && count != "0") {
            EXPECT_EQ(answer.substr(0, bar1), "1") << where << " covers " << c.dump();
            ++n.elements;
        } else if (c["kind"] == "document") {
            EXPECT_EQ("/" + answer.substr(bar1 + 1, bar2 - bar1 - 1), c["path"]) << where;
            ++n.documents;
        }
        const char* alg = opensslName(r["digestMethod"]);
        if (r["result"] != "match" || alg == nullptr) continue;
        const std::string hashed = dir + "/" + std::to_string(i);
        for (const auto& e : std::filesystem::directory_iterator(dir))
            if (e.path().string().find(".ref" + std::to_string(i) + ".hashed") != std::string::npos)
                std::filesystem::rename(e.path(), hashed);
        ASSERT_TRUE(std::filesystem::exists(hashed)) << where << ": --signed-out wrote nothing";
        std::string stored = answer.substr(bar2 + 1);
        stored.erase(std::remove(stored.begin(), stored.end(), ' '), stored.end());
        pending.push_back({where, hashed, alg, stored, hexForm});
    }
}

// openssl dgst over every pending file, one run per algorithm.
void checkDigests(const std::vector<PendingDigest>& pending, Counts& n) {
    std::map<std::string, std::vector<const PendingDigest*>> byAlg;
    for (const auto& p : pending) byAlg[p.alg].push_back(&p);
    for (const auto& [alg, files] : byAlg) {
        std::string command = "openssl dgst -" + alg + " -r";
        for (const auto* p : files) command += " " + shellQuoted(p->file);
        std::istringstream lines(shellOut(command));
        for (const auto* p : files) {
            std::string hex, rest;
            lines >> hex;
            std::getline(lines, rest);
            const std::string binary = base64(fromHex(hex));
            if (p->hexForm && p->stored != binary)
                EXPECT_EQ(base64(hex), p->stored) << p->where;
            else
                EXPECT_EQ(binary, p->stored) << p->where;
            ++n.digests;
        }
    }
}

TEST(CoverageCorpus, ElementsAndSignedBytesAgreeWithXmllintAndOpenssl) {
    if (shellOut("command -v xmllint && command -v openssl && command -v xxd").empty())
        GTEST_SKIP();
    Counts n;
    std::vector<PendingDigest> pending;
    const std::string root =
        std::filesystem::temp_directory_path() / ("xmldsig_cover_" + std::to_string(getpid()));
    std::filesystem::remove_all(root);
    int run = 0;
    for (const ManifestRow& row : readManifest()) {
        if (row.expected.rfind("no signature", 0) == 0) continue;
        const std::string file = corpusPath(row.path);
        if (xpath(file, "count(/*)") != "1") {  // xmllint cannot read it (a BOM before UTF-16...)
            ++n.unreadable;
            continue;
        }
        const std::string option = expectationFor(row.expected).option;
        for (int sig = 0;; ++sig) {
            const std::string dir = root + "/" + std::to_string(run++);
            std::filesystem::create_directories(dir);
            std::vector<std::string> args = {"refs", "--json",      "--signed-out",
                                             dir,    "--signature", std::to_string(sig)};
            if (!option.empty()) args.insert(args.end(), {"--option", option});
            args.push_back(file);
            const CliResult r = runCli(args);
            if (r.status == 2) break;  // no signature of that index
            nlohmann::json j = nlohmann::json::parse(r.out, nullptr, false);
            // The document does not load: one object for the file, without references.
            if (j.is_discarded() || !j.contains("references")) break;
            checkSignature(file, sig, j["references"], dir, option == "ZATCA", n, pending);
        }
    }
    checkDigests(pending, n);
    std::filesystem::remove_all(root);
    // The corpus has hundreds of references of each kind; a count near zero means the check
    // stopped looking.
    EXPECT_GT(n.elements, 150);
    EXPECT_GT(n.documents, 100);
    EXPECT_GT(n.digests, 250);
    EXPECT_LT(n.unreadable, 10);
    std::printf(
        "checked %d element paths, %d whole documents, %d signed-out digests (%d "
        "documents xmllint cannot read)\n",
        n.elements, n.documents, n.digests, n.unreadable);
}

}  // namespace
}  // namespace xmldsig::test
