#include "dsig/detail/CommentsRetry.h"

namespace xmldsig::detail {

namespace {
// Per thread: a component is used by one thread at a time, under its lock.
thread_local int t_retries = 0;
}  // namespace

KeepCommentsRetry::KeepCommentsRetry() {
    ++t_retries;
}

KeepCommentsRetry::~KeepCommentsRetry() {
    --t_retries;
}

bool KeepCommentsRetry::active() {
    return t_retries > 0;
}

}  // namespace xmldsig::detail
