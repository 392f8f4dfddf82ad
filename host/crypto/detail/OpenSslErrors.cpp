#include "host/crypto/detail/OpenSslErrors.h"

#include <openssl/err.h>

#include "host/log/LogBase.h"

namespace xmldsig::detail {

void clearOpenSslErrors() {
    ERR_clear_error();
}

void logOpenSslErrors(LogBase& log) {
    // The queue holds at most ERR_NUM_ERRORS (16) entries, so this loop is short.
    for (unsigned long code = ERR_get_error(); code != 0; code = ERR_get_error()) {
        char text[256];
        ERR_error_string_n(code, text, sizeof text);
        log.LogDataStr("openSslError", text);
    }
}

}  // namespace xmldsig::detail
