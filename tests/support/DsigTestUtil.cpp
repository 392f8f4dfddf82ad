#include "support/DsigTestUtil.h"

#include <fstream>
#include <sstream>

namespace xmldsig::test {

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

std::string corpusPath(const std::string& relative) {
    return std::string(XMLDSIG_CORPUS_DIR) + "/" + relative;
}

bool loadText(ClsXmlDSig& dsig, const std::string& xml) {
    return dsig.LoadSignature(XString(xml.c_str()));
}

}  // namespace xmldsig::test
