// Moves OpenSSL's thread-local error queue into our log, so a failure says what OpenSSL saw.
#pragma once

namespace xmldsig {
class LogBase;
}

namespace xmldsig::detail {

// Call on entry to an operation that uses OpenSSL, so a stale error never describes a later one.
void clearOpenSslErrors();
// Logs every queued error (one "openSslError" value each) and empties the queue.
void logOpenSslErrors(LogBase& log);

}  // namespace xmldsig::detail
