// Joining directory and file paths.
#pragma once

#include "host/text/StringBuffer.h"
#include "host/text/XString.h"

namespace xmldsig {

class _tvFilePath {
  public:
    // out = dir + "/" + file, with no doubled separator when dir already ends in '/' or '\\'.
    // An empty dir gives file unchanged. The file path is taken as it is: deciding whether it
    // may be joined (no scheme, no absolute path, no "..") is the caller's business.
    static void CombineDirAndFilepath(const XString& dir, const XString& file, XString& out);
    static void CombineDirAndFilepath(const StringBuffer& dir, const StringBuffer& file,
                                      StringBuffer& out);
};

}  // namespace xmldsig
