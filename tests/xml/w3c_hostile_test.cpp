// Hostile expressions for the general engine (tests/data/w3c/hostile_xpath.tsv): nested
// document-wide steps, unions of large node-sets, namespace axes over many declarations, deep
// nesting, id() over many Ids, functions that read outside the document, malformed and
// non-node-set expressions. Each ends with false and the log line of its refusal; ordinary
// transforms over the same large documents still evaluate.
#include <gtest/gtest.h>

#include <sstream>

#include "host/log/_tvLogger.h"
#include "host/xml/w3c/W3cEngine.h"
#include "support/DataTable.h"

namespace xmldsig {
namespace {

std::string repeat(const std::string& s, int n) {
    std::string out;
    for (int i = 0; i < n; ++i) out += s;
    return out;
}

// A document made from a recipe of the table.
std::string documentFor(const std::string& recipe) {
    std::istringstream parts(recipe);
    std::string kind, a, b;
    std::getline(parts, kind, ':');
    std::getline(parts, a, ':');
    std::getline(parts, b, ':');
    const int n = std::stoi(a);
    if (kind == "wide")
        return "<r xmlns:dsig=\"http://www.w3.org/2000/09/xmldsig#\">" + repeat("<e/>", n) + "</r>";
    if (kind == "deep") return repeat("<e>", n) + repeat("</e>", n);
    if (kind == "ids") {
        std::string doc = "<r>";
        for (int i = 0; i < n; ++i) doc += "<e Id=\"i" + std::to_string(i) + "\"/>";
        return doc + "</r>";
    }
    std::string decls;
    for (int i = 0; i < std::stoi(b); ++i)
        decls += " xmlns:p" + std::to_string(i) + "=\"urn:" + std::to_string(i) + "\"";
    return "<r" + decls + ">" + repeat("<e/>", n) + "</r>";
}

w3c::ExpressionKind kindNamed(const std::string& s) {
    if (s == "xpath") return w3c::ExpressionKind::XPathTransform;
    if (s == "xpointer") return w3c::ExpressionKind::XPointer;
    return w3c::ExpressionKind::Filter2Intersect;
}

// The rows that must be refused (a log text given) or must evaluate (none).
void runRows(bool refused) {
    int rows = 0;
    for (const test::DataRow& r : test::loadTable("w3c/hostile_xpath.tsv")) {
        if (r["log"].empty() == refused) continue;
        const std::string doc = documentFor(r["recipe"]);
        _tvLogger log;
        const bool ok = w3c::evaluateExpression(doc.data(), doc.size(), r["expression"].c_str(),
                                                kindNamed(r["kind"]), log);
        EXPECT_EQ(ok, !refused) << r.where() << "\n" << log.renderText();
        if (refused)
            EXPECT_NE(log.renderText().find(r["log"]), std::string::npos) << r.where() << "\n"
                                                                          << log.renderText();
        ++rows;
    }
    EXPECT_GE(rows, 6);
}

TEST(W3cHostileXPath, EndsWithFalseAndALogLine) {
    runRows(true);
}

// The same evaluator accepts ordinary transforms over the same large documents, so the refusals
// above are the bounds at work and not a broken evaluator.
TEST(W3cHostileXPath, OrdinaryExpressionsEvaluate) {
    runRows(false);
}

}  // namespace
}  // namespace xmldsig
