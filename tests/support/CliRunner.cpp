#include "support/CliRunner.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

#include "support/DsigTestUtil.h"

namespace xmldsig::test {

namespace {

std::string shellQuote(const std::string& s) {
    std::string q = "'";
    for (char c : s) q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

std::string tempPath(const char* tag) {
    return "/tmp/xmldsig_cli_" + std::to_string(getpid()) + "_" + tag;
}

}  // namespace

CliResult runCli(const std::vector<std::string>& args, const std::string& stdinText) {
    const std::string in = tempPath("in"), out = tempPath("out"), err = tempPath("err");
    std::ofstream(in, std::ios::binary) << stdinText;
    std::string cmd = shellQuote(XMLDSIG_CLI_PATH);
    for (const auto& a : args) cmd += " " + shellQuote(a);
    cmd += " <" + in + " >" + out + " 2>" + err;
    CliResult r;
    int raw = std::system(cmd.c_str());
    r.status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
    r.out = readFile(out);
    r.err = readFile(err);
    std::remove(in.c_str());
    std::remove(out.c_str());
    std::remove(err.c_str());
    return r;
}

}  // namespace xmldsig::test
