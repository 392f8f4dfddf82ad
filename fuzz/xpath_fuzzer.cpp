// XPath and XPointer expressions over a small document through the general engine: as an XPath
// transform (evaluated once per node), an XPointer, and an XPath Filter 2.0 step. Whatever the
// expression, the engine ends (the work bound refuses expensive ones before evaluation) with a
// result or a logged refusal.
#include "FuzzInput.h"
#include "host/log/LogNull.h"
#include "host/xml/w3c/W3cEngine.h"

using namespace xmldsig;

XMLDSIG_FUZZ_TARGET(xpath_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const w3c::ExpressionKind kinds[] = {w3c::ExpressionKind::XPathTransform,
                                         w3c::ExpressionKind::XPointer,
                                         w3c::ExpressionKind::Filter2Intersect};
    const w3c::ExpressionKind kind = kinds[in.byte() % 3];
    const std::string expr = in.shortText(256);
    const std::string doc = in.rest();
    LogNull log;
    w3c::evaluateExpression(doc.data(), doc.size(), expr.c_str(), kind, log);
    return 0;
}
