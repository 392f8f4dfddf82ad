// Helpers shared by the benchmark programs: scratch directories, generated input files and
// documents, and digests computed by the openssl command-line tool as an independent check.
#pragma once

#include <cstdint>
#include <string>

namespace xmldsig::bench {

// A fresh directory under /tmp, removed with its contents when the object goes away.
class ScratchDir {
  public:
    ScratchDir();
    ~ScratchDir();
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;

    bool ok() const { return !m_path.empty(); }
    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }

  private:
    std::string m_path;
};

// Writes exactly `bytes` bytes of varied, reproducible content to path, one chunk at a time so
// that memory use does not depend on the size. False (with a message on stderr) on any error.
bool writePatternFile(const std::string& path, std::uint64_t bytes);

// Free space in bytes on the file system holding path; 0 when it cannot be read.
std::uint64_t freeDiskBytes(const std::string& path);

// Standard output of a shell command; false when it cannot start or exits non-zero.
bool commandOutput(const std::string& command, std::string& out);

// Writes text to path; false (with a message on stderr) on any error.
bool writeTextFile(const std::string& path, const std::string& text);

// Base64 digest of a file computed by `openssl dgst -<alg> -binary | base64`; alg is the
// openssl name ("sha1", "sha256", "sha512"). Empty when the command fails.
std::string opensslDigestBase64(const std::string& path, const char* alg);

// A detached signature with one Reference whose URI names an external file.
std::string detachedSignature(const std::string& uri, const char* digestAlgorithmUri,
                              const std::string& digestBase64);

// An invoice-like document of about targetBytes bytes: a header, a seller and buyer with
// namespaced attributes, then as many line items as needed, then totals.
std::string invoiceDocument(std::size_t targetBytes);

// Peak resident set size of this process so far, in KiB (getrusage ru_maxrss).
long peakRssKib();

}  // namespace xmldsig::bench
