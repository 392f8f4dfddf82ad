#include "support/DocSandbox.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

// The documentation's programs link against the library as built here, so they are compiled
// with the same sanitizers as this test binary.
#if defined(__SANITIZE_ADDRESS__)
#define XMLDSIG_DOC_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define XMLDSIG_DOC_SANITIZED 1
#endif
#endif

namespace xmldsig::test {

namespace fs = std::filesystem;

namespace {

constexpr int kTimeLimitSeconds = 60;
constexpr std::size_t kMaxCapture = 8u << 20;

std::string readCapped(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::string text(kMaxCapture, '\0');
    in.read(&text[0], static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(in.gcount()));
    return text;
}

std::string shellQuoted(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// The C++ compiler CMake chose for this build, else the system's.
std::string compiler() {
    std::ifstream cache(buildDir() + "/CMakeCache.txt");
    const std::string key = "CMAKE_CXX_COMPILER:FILEPATH=";
    for (std::string line; std::getline(cache, line);)
        if (line.compare(0, key.size(), key) == 0) return line.substr(key.size());
    return "c++";
}

std::string tempFile(const char* tag) {
    std::string path = std::string("/tmp/xmldsig_doc_") + tag + "_XXXXXX";
    const int fd = mkstemp(&path[0]);
    if (fd < 0) return "";
    close(fd);
    return path;
}

}  // namespace

std::string repositoryRoot() {
    std::error_code ec;
    const fs::path root = fs::canonical(fs::path(XMLDSIG_CORPUS_DIR) / ".." / "..", ec);
    return ec ? std::string(XMLDSIG_CORPUS_DIR) + "/../.." : root.string();
}

std::string docsDir() {
    return repositoryRoot() + "/docs";
}

std::string buildDir() {
    return fs::path(XMLDSIG_CLI_PATH).parent_path().string();
}

DocSandbox::DocSandbox() {
    char tmpl[] = "/tmp/xmldsig_doc_bin_XXXXXX";
    if (mkdtemp(tmpl) == nullptr) {
        m_error = "cannot make a temporary folder";
        return;
    }
    m_bin = tmpl;
    std::error_code ec;
    fs::create_symlink(XMLDSIG_CLI_PATH, fs::path(m_bin) / "xmldsig", ec);
    if (ec) m_error = "cannot link the tool into " + m_bin + ": " + ec.message();
}

DocSandbox::~DocSandbox() {
    std::error_code ec;
    if (!m_bin.empty()) fs::remove_all(m_bin, ec);
}

DocSandbox& DocSandbox::shared() {
    static DocSandbox sandbox;
    return sandbox;
}

bool DocSandbox::buildProgram(const DocProgram& program, std::string& diagnostics) {
    auto found = m_programs.find(program.name);
    if (found == m_programs.end()) {
        Build b;
        const std::string source = m_bin + "/" + program.name + ".cpp";
        std::ofstream(source, std::ios::binary) << program.source;
        std::string cmd =
            shellQuoted(compiler()) + " -std=c++17 -I" + shellQuoted(repositoryRoot()) + " " +
            shellQuoted(source) + " -o " + shellQuoted(m_bin + "/" + program.name) + " " +
            shellQuoted(buildDir() + "/libxmldsig.a") + " -lexpat -lcurl -lcrypto -lxml2 -pthread";
#ifdef XMLDSIG_DOC_SANITIZED
        cmd += " -fsanitize=address,undefined";
#endif
        const DocRun r = run(cmd);
        b.ok = r.status == 0;
        b.diagnostics = "$ " + cmd + "\n" + r.out + r.err;
        found = m_programs.emplace(program.name, b).first;
    }
    diagnostics = found->second.diagnostics;
    return found->second.ok;
}

DocRun DocSandbox::run(const std::string& command,
                       const std::vector<std::pair<std::string, std::string>>& env) const {
    DocRun r;
    const std::string outPath = tempFile("out"), errPath = tempFile("err");
    if (outPath.empty() || errPath.empty()) {
        r.err = "cannot make temporary files";
        return r;
    }
    const std::string root = repositoryRoot();
    const char* path = std::getenv("PATH");
    const std::string newPath = m_bin + ":" + (path != nullptr ? path : "/usr/bin:/bin");
    const std::string limit = std::to_string(kTimeLimitSeconds);
    const pid_t pid = fork();
    if (pid == 0) {
        const int in = open("/dev/null", O_RDONLY);
        const int out = open(outPath.c_str(), O_WRONLY | O_TRUNC);
        const int err = open(errPath.c_str(), O_WRONLY | O_TRUNC);
        if (in < 0 || out < 0 || err < 0 || chdir(root.c_str()) != 0) _exit(126);
        dup2(in, STDIN_FILENO);
        dup2(out, STDOUT_FILENO);
        dup2(err, STDERR_FILENO);
        setenv("PATH", newPath.c_str(), 1);
        setenv("LC_ALL", "C", 1);
        for (const auto& [name, value] : env) setenv(name.c_str(), value.c_str(), 1);
        execlp("timeout", "timeout", "-k", "5", limit.c_str(), "/bin/sh", "-c", command.c_str(),
               static_cast<char*>(nullptr));
        _exit(127);
    }
    int status = 0;
    if (pid > 0 && waitpid(pid, &status, 0) == pid)
        r.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    r.out = readCapped(outPath);
    r.err = readCapped(errPath);
    std::remove(outPath.c_str());
    std::remove(errPath.c_str());
    return r;
}

}  // namespace xmldsig::test
