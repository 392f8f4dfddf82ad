// Where the documentation's examples run: /bin/sh in the repository's top folder, with the built
// xmldsig tool (and the documentation's programs, once built) first on the PATH, so that the
// commands run exactly as a reader types them.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "support/DocExamples.h"

namespace xmldsig::test {

struct DocRun {
    int status = -1;  // exit status; 124 when the command ran out of time
    std::string out;
    std::string err;
};

class DocSandbox {
  public:
    DocSandbox();
    ~DocSandbox();
    DocSandbox(const DocSandbox&) = delete;
    DocSandbox& operator=(const DocSandbox&) = delete;

    // The one sandbox of the test program.
    static DocSandbox& shared();

    // False (with the reason in error()) when the folder for the tool could not be made.
    bool ok() const { return m_error.empty(); }
    const std::string& error() const { return m_error; }

    // Compiles the program against the build tree's static library into the PATH folder, once.
    // False with the compiler's messages in diagnostics when it does not build.
    bool buildProgram(const DocProgram& program, std::string& diagnostics);

    // Runs a command (with these extra environment variables) under a time limit.
    DocRun run(const std::string& command,
               const std::vector<std::pair<std::string, std::string>>& env = {}) const;

  private:
    std::string m_bin;  // the folder put first on the PATH
    std::string m_error;
    struct Build {
        bool ok = false;
        std::string diagnostics;
    };
    std::map<std::string, Build> m_programs;  // by name, once tried
};

// The repository's top folder, the documentation folder and the build folder of this test binary.
std::string repositoryRoot();
std::string docsDir();
std::string buildDir();

}  // namespace xmldsig::test
