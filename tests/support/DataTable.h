// Tables of test cases kept as tab-separated files under tests/data (and the corpus manifests):
// the first line that is not a comment names the columns, `#` starts a comment line, and
// `=NAME<TAB>text` defines a piece of text that later fields use as {NAME}. In fields, \t, \n,
// \r, \0, \xHH and \\ stand for a tab, a newline, a carriage return, a NUL, the byte HH and a
// backslash.
#pragma once

#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace xmldsig::test {

struct DataRow {
    std::string file;  // the table's name, for messages
    int line = 0;
    std::map<std::string, std::string> fields;
    // The field of that column ("" when the row leaves it out); an unknown column fails the test.
    const std::string& operator[](const std::string& column) const;
    bool flag(const std::string& column) const;  // "yes", "true" or "1"
    int number(const std::string& column) const;
    std::string where() const { return file + ":" + std::to_string(line); }
};

// The rows of tests/data/<relPath>, or of an absolute path; fails the running test (and returns
// no rows) when the file cannot be read. `pieces` adds texts that the test computes (keys,
// digests) for fields to use as {NAME}.
std::vector<DataRow> loadTable(const std::string& relPath,
                               std::map<std::string, std::string> pieces = {});

// A GoogleTest parameter name made from any text.
std::string testNameFor(const std::string& text);

void PrintTo(const DataRow& row, std::ostream* os);

}  // namespace xmldsig::test
