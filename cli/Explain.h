// The exact bytes hashed for a reference, written to a file: --explain for references whose
// digest does not match, --signed-out for every reference.
#pragma once

#include <string>

#include "cli/CommandLine.h"
#include "dsig/ClsXmlDSig.h"

namespace xmldsig::cli {

extern const OptionSpec kOptExplain;
extern const OptionSpec kOptSignedOut;

// The file name for what reference M of signature N of file hashed:
// "<file>.sig<N>.ref<M>.hashed", the file's path with "%", "/" and control characters
// percent-encoded (standard input is "%2D"), so that no two files, signatures or references
// share a name.
std::string hashedFileName(const std::string& file, int signature, int reference);

// Writes what the last reference check of dsig hashed to DIR/hashedFileName(...) and returns a
// line saying where (or why nothing was written). copyExternal: an external file that was
// hashed as it is gets copied too; otherwise the line names it.
std::string writeHashedReference(ClsXmlDSig& dsig, const std::string& dir, const std::string& file,
                                 int signature, int reference, bool copyExternal);

inline std::string explainReference(ClsXmlDSig& dsig, const std::string& dir,
                                    const std::string& file, int signature, int reference) {
    return writeHashedReference(dsig, dir, file, signature, reference, false);
}

}  // namespace xmldsig::cli
