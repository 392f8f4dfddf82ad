// Reading the tool's input documents (a file or "-" for standard input).
#pragma once

#include <string>

#include "host/text/DataBuffer.h"

namespace xmldsig::cli {

// Reads the whole file (or standard input for "-"). On failure error says why.
bool readInput(const std::string& path, DataBuffer& out, std::string& error);

// Reads the input and converts it to UTF-8 as its XML declaration or byte-order mark says.
bool readXmlAsUtf8(const std::string& path, std::string& utf8, std::string& error);

// Short, readable name of a well-known XML Signature algorithm URI (the URI itself otherwise).
std::string shortAlgorithmName(const std::string& uri);

}  // namespace xmldsig::cli
