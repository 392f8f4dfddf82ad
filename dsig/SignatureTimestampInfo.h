// What the check of a XAdES signature timestamp found: whether the token verified, the time the
// authority vouches for, the hash it covers and the authority's certificate.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "host/text/DataBuffer.h"

namespace xmldsig {

struct SignatureTimestampInfo {
    bool present = false;   // the signature carries an EncapsulatedTimeStamp
    bool verified = false;  // the token's signature and its imprint of SignatureValue hold
    std::string problem;    // the failure line when not verified
    bool hasTime = false;
    std::time_t time = 0;                // TSTInfo genTime
    std::string hashAlgorithm;           // of the message imprint ("sha256")
    DataBuffer tsaCertDer;               // the token signer's certificate
    std::vector<DataBuffer> tokenCerts;  // every certificate the token carries
};

}  // namespace xmldsig
