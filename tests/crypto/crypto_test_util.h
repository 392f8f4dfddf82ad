// Helpers shared by the crypto tests: hex conversion, deterministic test data, temporary files
// and running the openssl command-line tool as an independent oracle.
#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig::testutil {

using Bytes = std::vector<unsigned char>;

inline std::string toHex(const unsigned char* p, std::size_t n) {
    static const char digits[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < n; ++i) {
        out += digits[p[i] >> 4];
        out += digits[p[i] & 0xF];
    }
    return out;
}
inline std::string toHex(const DataBuffer& db) {
    return toHex(db.getData2(), db.getSize());
}
inline std::string toHex(const Bytes& b) {
    return toHex(b.data(), b.size());
}

inline Bytes fromHex(const std::string& hex) {
    Bytes out;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        out.push_back(static_cast<unsigned char>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return out;
}

inline Bytes fromText(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

inline Bytes repeated(unsigned char byte, std::size_t n) {
    return Bytes(n, byte);
}

// Byte i is (mul*i + add) mod 256, the pattern of the generated vector files.
inline Bytes pattern(std::size_t n, unsigned mul, unsigned add) {
    Bytes out(n);
    for (std::size_t i = 0; i < n; ++i) out[i] = static_cast<unsigned char>((i * mul + add) & 0xFF);
    return out;
}

inline Bytes randomBytes(std::size_t n, unsigned seed) {
    std::mt19937 rng(seed);
    Bytes out(n);
    for (auto& b : out) b = static_cast<unsigned char>(rng() & 0xFF);
    return out;
}

// A file in a fresh temporary directory, removed with the directory when the object goes.
class TempDir {
  public:
    TempDir() {
        std::string tmpl = ::testing::TempDir() + "xmldsig_crypto_XXXXXX";
        std::vector<char> buf(tmpl.begin(), tmpl.end());
        buf.push_back('\0');
        if (::mkdtemp(buf.data()) != nullptr) m_path = buf.data();
    }
    ~TempDir() {
        if (!m_path.empty()) std::system(("rm -rf '" + m_path + "'").c_str());
    }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

    std::string write(const std::string& name, const Bytes& data) const {
        const std::string p = file(name);
        std::FILE* f = std::fopen(p.c_str(), "wb");
        if (f == nullptr) return {};
        const bool ok = data.empty() || std::fwrite(data.data(), 1, data.size(), f) == data.size();
        return (std::fclose(f) == 0 && ok) ? p : std::string();
    }

  private:
    std::string m_path;
};

// Runs a shell command and returns its standard output; ok is false when it exits non-zero.
inline std::string runCommand(const std::string& command, bool& ok) {
    std::string out;
    ok = false;
    std::FILE* p = ::popen(command.c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    const int status = ::pclose(p);
    ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return out;
}

inline std::string lowerTrimmed(std::string s) {
    while (!s.empty() && (s.back() == '\n' || s.back() == '\r' || s.back() == ' ')) s.pop_back();
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// `openssl dgst -<name>` of a file, as lower-case hex; empty when the tool failed.
inline std::string opensslDigestHex(const std::string& name, const std::string& path) {
    bool ok = false;
    const std::string out = runCommand("openssl dgst -" + name + " -r '" + path + "'", ok);
    if (!ok) return {};
    return lowerTrimmed(out.substr(0, out.find(' ')));
}

// `openssl mac ... HMAC` of a file under a hex key, as lower-case hex; empty on failure.
inline std::string opensslHmacHex(const std::string& digest, const Bytes& key,
                                  const std::string& path) {
    bool ok = false;
    const std::string out =
        runCommand("openssl mac -digest " + digest + " -macopt hexkey:" + toHex(key) + " -in '" +
                       path + "' HMAC",
                   ok);
    return ok ? lowerTrimmed(out) : std::string();
}

}  // namespace xmldsig::testutil
