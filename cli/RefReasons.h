// Readable names of the reference failure reasons.
#pragma once

#include "dsig/VerifyFailure.h"

namespace xmldsig::cli {

inline const char* refFailReasonText(int reason) {
    return RefFail::text(reason);
}

}  // namespace xmldsig::cli
