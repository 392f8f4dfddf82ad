// The runnable examples of the user documentation (docs/*.md), read from their Markdown.
//
// A ```console block holds commands and what they print:
//   - a line starting with "$ " is a command, run by /bin/sh from the repository's top folder;
//     a line ending with a backslash continues on the next line;
//   - a trailing "# exit N" on the command's last line is the exit status it must end with
//     (0 when absent);
//   - the lines that follow, up to the next command or the end of the block, are its standard
//     output; a line "..." stands for any number of lines, and "..." inside a line for any text.
// A ```cpp block whose info string names a program ("```cpp program=NAME") is a complete program
// that the commands may run as NAME.
#pragma once

#include <ostream>
#include <string>
#include <vector>

namespace xmldsig::test {

struct DocCommand {
    std::string file;  // the Markdown file's name, e.g. "verify.md"
    int line = 0;      // 1-based line of the "$ " line
    std::string command;
    int expectedStatus = 0;
    std::vector<std::string> expectedOutput;
};

struct DocProgram {
    std::string file;
    int line = 0;  // 1-based line of the opening fence
    std::string name;
    std::string source;
};

struct DocExamples {
    std::vector<DocCommand> commands;
    std::vector<DocProgram> programs;
    std::vector<std::string> problems;  // "FILE:LINE: what is wrong with the block"
};

// The examples of one Markdown text; file names them in the results.
DocExamples parseDocExamples(const std::string& file, const std::string& markdown);

// The examples of every *.md file of dir, files in name order.
DocExamples readDocExamples(const std::string& dir);

// Whether one output line matches one expected line ("..." inside it matches any text).
bool lineMatches(const std::string& expected, const std::string& actual);

// Whether output (as printed, a final line feed optional) matches the expected lines.
bool outputMatches(const std::vector<std::string>& expected, const std::string& output);

// "verify.md", 42 gives "verify_md_42": a GoogleTest parameter name.
std::string docTestName(const std::string& file, int line);

// How GoogleTest names a failing example: its file, line and text.
void PrintTo(const DocCommand& c, std::ostream* os);
void PrintTo(const DocProgram& p, std::ostream* os);

}  // namespace xmldsig::test
