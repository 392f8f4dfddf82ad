#include "host/xml/_tvFilePath.h"

namespace xmldsig {

void _tvFilePath::CombineDirAndFilepath(const StringBuffer& dir, const StringBuffer& file,
                                        StringBuffer& out) {
    StringBuffer joined(dir);
    const char last = joined.lastChar();
    if (!joined.isEmpty() && last != '/' && last != '\\' && !file.isEmpty()) {
        joined.appendChar('/');
    }
    joined.append(file);
    out.takeSb(joined);
}

void _tvFilePath::CombineDirAndFilepath(const XString& dir, const XString& file, XString& out) {
    StringBuffer joined;
    CombineDirAndFilepath(dir.getUtf8Sb(), file.getUtf8Sb(), joined);
    out.setFromSbUtf8(joined);
}

}  // namespace xmldsig
