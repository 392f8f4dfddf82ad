#include "support/LoopbackTsa.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <vector>

extern char** environ;

namespace xmldsig::test {

namespace {

const char kXadesIdAttr[] = "--id-attr:Id 'http://uri.etsi.org/01903/v1.3.2#:SignedProperties'";

std::string readAll(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string uniqueName(const std::string& stem) {
    static std::atomic<int> counter{0};
    return stem + "-" + std::to_string(++counter);
}

}  // namespace

std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

std::string runShell(const std::string& command, bool& ok) {
    std::string out;
    ok = false;
    FILE* p = popen(command.c_str(), "r");
    if (p == nullptr) return out;
    char buf[4096];
    for (std::size_t n; (n = std::fread(buf, 1, sizeof buf, p)) > 0;) out.append(buf, n);
    const int status = pclose(p);
    ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
    return out;
}

std::string writeTempFile(const std::string& dir, const std::string& name,
                          const std::string& bytes) {
    const std::string path = dir + "/" + uniqueName(name);
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

LoopbackTsa::LoopbackTsa() {
    char tmpl[] = "/tmp/xmldsig_tsa_XXXXXX";
    if (mkdtemp(tmpl) == nullptr) {
        m_error = "cannot make a temporary directory";
        return;
    }
    m_dir = tmpl;
    if (makePki()) startServer();
}

LoopbackTsa::~LoopbackTsa() {
    if (m_pid > 0) {
        kill(m_pid, SIGTERM);
        int status = 0;
        waitpid(m_pid, &status, 0);
    }
    if (!m_dir.empty()) std::system(("rm -rf " + shellQuoted(m_dir)).c_str());
}

LoopbackTsa& LoopbackTsa::shared() {
    static LoopbackTsa tsa;
    return tsa;
}

std::string LoopbackTsa::url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(m_port) + path;
}

// The PKI comes from the openssl tool (tests/data/tsa/make_pki.sh), never from this project.
bool LoopbackTsa::makePki() {
    bool ok = false;
    const std::string out =
        runShell("sh " + shellQuoted(std::string(XMLDSIG_TEST_DATA_DIR) + "/tsa/make_pki.sh") +
                     " " + shellQuoted(m_dir) + " 2>&1",
                 ok);
    if (!ok) m_error = "openssl failed: " + out;
    return ok;
}

bool LoopbackTsa::startServer() {
    const std::string script = std::string(XMLDSIG_TEST_DATA_DIR) + "/tsa/loopback_tsa.py";
    int fds[2];
    if (pipe(fds) != 0) {
        m_error = "pipe failed";
        return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, fds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, fds[0]);
    std::vector<std::string> argv = {"python3", script, m_dir};
    std::vector<char*> cargv;
    for (auto& a : argv) cargv.push_back(a.data());
    cargv.push_back(nullptr);
    const int rc = posix_spawnp(&m_pid, "python3", &actions, nullptr, cargv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(fds[1]);
    if (rc != 0) {
        m_pid = -1;
        close(fds[0]);
        m_error = "cannot start python3";
        return false;
    }
    // The script prints its port once it listens.
    std::string line;
    pollfd pfd{fds[0], POLLIN, 0};
    while (line.find('\n') == std::string::npos && poll(&pfd, 1, 15000) > 0) {
        char buf[64];
        const ssize_t n = read(fds[0], buf, sizeof buf);
        if (n <= 0) break;
        line.append(buf, static_cast<std::size_t>(n));
    }
    close(fds[0]);
    m_port = std::atoi(line.c_str());
    if (m_port <= 0) {
        m_port = 0;
        m_error = "the timestamp server did not start";
        return false;
    }
    return true;
}

std::string LoopbackTsa::closedUrl() {
    const int s = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    int port = 1;  // reserved (tcpmux): nothing listens there on a test machine
    if (s >= 0 && bind(s, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        getsockname(s, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    if (s >= 0) close(s);
    return "http://127.0.0.1:" + std::to_string(port) + "/";
}

std::string opensslToken(const std::string& data, const std::string& hash, bool withCert) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string in = writeTempFile(tsa.dir(), "data", data);
    const std::string query = in + ".tsq", token = in + ".tok";
    bool ok = false;
    runShell("cd " + shellQuoted(tsa.dir()) + " && openssl ts -query -data " + shellQuoted(in) +
                 " -" + hash + (withCert ? " -cert" : "") + " -out " + shellQuoted(query) +
                 " 2>&1 && openssl ts -reply -config openssl.cnf -section tsa_config -queryfile " +
                 shellQuoted(query) + " -inkey tsa.key -signer tsa.pem -token_out -out " +
                 shellQuoted(token) + " 2>&1",
             ok);
    return ok ? readAll(token) : std::string();
}

bool opensslVerifiesToken(const std::string& tokenDer, const std::string& data) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string in = writeTempFile(tsa.dir(), "data", data);
    const std::string token = writeTempFile(tsa.dir(), "token", tokenDer);
    bool ok = false;
    runShell("openssl ts -verify -data " + shellQuoted(in) + " -in " + shellQuoted(token) +
                 " -token_in -CAfile " + shellQuoted(tsa.file("ca.pem")) + " 2>&1",
             ok);
    return ok;
}

std::string xmlsecSign(const std::string& tmpl) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string in = writeTempFile(tsa.dir(), "tmpl.xml", tmpl);
    const std::string out = in + ".signed";
    bool ok = false;
    runShell("xmlsec1 --sign --privkey-pem " + shellQuoted(tsa.file("signer.key")) + "," +
                 shellQuoted(tsa.file("signer.pem")) + " " + kXadesIdAttr + " --output " +
                 shellQuoted(out) + " " + shellQuoted(in) + " 2>&1",
             ok);
    return ok ? readAll(out) : std::string();
}

bool xmlsecVerifies(const std::string& xml) {
    LoopbackTsa& tsa = LoopbackTsa::shared();
    const std::string in = writeTempFile(tsa.dir(), "signed.xml", xml);
    bool ok = false;
    runShell("xmlsec1 --verify --trusted-pem " + shellQuoted(tsa.file("ca.pem")) + " " +
                 kXadesIdAttr + " " + shellQuoted(in) + " 2>&1",
             ok);
    return ok;
}

}  // namespace xmldsig::test
