// Readable names of the reference failure reasons.
#pragma once

namespace xmldsig::cli {

inline const char* refFailReasonText(int reason) {
    switch (reason) {
        case 0:
            return "digest matches";
        case 1:
            return "digest mismatch";
        case 2:
            return "external data missing or unreadable";
        case 3:
            return "no such reference";
        case 5:
            return "canonicalization failed";
        default:
            return "transform or parse failure";
    }
}

}  // namespace xmldsig::cli
