// Hostile expressions for the general engine (tests/data/w3c/hostile_xpath.tsv): nested
// predicates, namespace axes over many declarations, deep nesting, id() over many Ids, functions
// that read outside the document, malformed and non-node-set expressions. Each ends with false
// and a log line; the evaluator's operation limit keeps time and memory bounded.
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

#include "host/log/_tvLogger.h"
#include "host/xml/w3c/W3cEngine.h"

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
    if (kind == "wide") return "<r>" + repeat("<e/>", n) + "</r>";
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

TEST(W3cHostileXPath, EndsWithFalseAndALogLine) {
    std::ifstream in(XMLDSIG_TEST_DATA_DIR "/w3c/hostile_xpath.tsv");
    int rows = 0;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream fields(line);
        std::string recipe, kind, expr;
        std::getline(fields, recipe, '\t');
        std::getline(fields, kind, '\t');
        std::getline(fields, expr, '\t');
        const std::string doc = documentFor(recipe);
        _tvLogger log;
        EXPECT_FALSE(
            w3c::evaluateExpression(doc.data(), doc.size(), expr.c_str(), kindNamed(kind), log))
            << line;
        EXPECT_FALSE(log.renderText().empty()) << line;
        ++rows;
    }
    EXPECT_GE(rows, 9);
}

// The same evaluator accepts an ordinary expression, so the refusals above are the limits at
// work and not a broken evaluator.
TEST(W3cHostileXPath, OrdinaryExpressionsEvaluate) {
    const std::string doc = documentFor("ns:200:3");
    _tvLogger log;
    EXPECT_TRUE(w3c::evaluateExpression(doc.data(), doc.size(), "not(self::e)",
                                        w3c::ExpressionKind::XPathTransform, log))
        << log.renderText();
    EXPECT_TRUE(w3c::evaluateExpression(doc.data(), doc.size(), "//e[1]",
                                        w3c::ExpressionKind::XPointer, log))
        << log.renderText();
}

}  // namespace
}  // namespace xmldsig
