// The one retry of a reference whose digest did not match with comments removed: while a
// KeepCommentsRetry lives on a thread, a WithComments canonicalization on that thread keeps the
// comments whatever the reference's URI. It lives for one reference's transforms only.
#pragma once

namespace xmldsig::detail {

class KeepCommentsRetry {
  public:
    KeepCommentsRetry();
    ~KeepCommentsRetry();
    KeepCommentsRetry(const KeepCommentsRetry&) = delete;
    KeepCommentsRetry& operator=(const KeepCommentsRetry&) = delete;

    static bool active();
};

}  // namespace xmldsig::detail
