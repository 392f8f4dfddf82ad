// Canonicalization of a node-set by libxml2 (Canonical XML 1.0 and 1.1, Exclusive 1.0).
#pragma once

#include <string>
#include <vector>

#include "host/xml/w3c/W3cEngine.h"
#include "host/xml/w3c/detail/NodeSet.h"

namespace xmldsig::w3c::detail {

bool canonicalizeNodeSet(const NodeSet& set, CanonMethod method, bool withComments,
                         const std::vector<std::string>& inclusivePrefixes, std::string& out,
                         LogBase& log);

}  // namespace xmldsig::w3c::detail
