// One document's verifier for a subcommand: a fresh component per file (no state may carry
// from one document to the next), configured from the common options.
#pragma once

#include <string>
#include <vector>

#include "cli/CommandLine.h"
#include "cli/Report.h"
#include "dsig/ClsXmlDSig.h"
#include "host/log/_clsOwner.h"

namespace xmldsig::cli {

class Session {
  public:
    // Problems are written to report.
    Session(const ParsedArgs& args, Report& report);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    // Reads and loads the document; on failure prints why (with the log) and returns false.
    bool load(const std::string& file);
    // The same with the file's bytes already read (file names it in messages).
    bool loadBytes(const std::string& file, const DataBuffer& bytes);
    ClsXmlDSig& dsig() { return *m_dsig; }
    // The signature indexes the command line asks for (--signature N, else all of them);
    // false (after printing the problem) when N is out of range.
    bool selectedIndexes(int count, std::vector<int>& out) const;
    void printLogIfAsked();
    // Applies --ext-dir (default: the document's directory), --ignore-external and --ref-file
    // to the selected signature; false (after printing the problem) for a malformed --ref-file.
    bool applyReferenceOptions(const std::string& file);
    bool applyWorkCaps();

  private:
    const ParsedArgs& m_args;
    Report& m_report;
    ClsXmlDSig* m_dsig;
    _clsOwner m_owner;
};

}  // namespace xmldsig::cli
