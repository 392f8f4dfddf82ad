// Helpers shared by the verifier tests: owning pointers to components and file reading.
#pragma once

#include <memory>
#include <string>

#include "dsig/ClsXmlDSig.h"

namespace xmldsig::test {

struct DsigDeleter {
    void operator()(ClsXmlDSig* p) const { delete p; }
};
using DsigPtr = std::unique_ptr<ClsXmlDSig, DsigDeleter>;

inline DsigPtr newDsig() {
    return DsigPtr(ClsXmlDSig::createNewCls());
}

std::string readFile(const std::string& path);
std::string corpusPath(const std::string& relative);

// Loads UTF-8 text through LoadSignature.
bool loadText(ClsXmlDSig& dsig, const std::string& xml);

}  // namespace xmldsig::test
