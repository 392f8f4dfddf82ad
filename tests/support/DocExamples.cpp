#include "support/DocExamples.h"

#include <dirent.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <regex>
#include <sstream>

namespace xmldsig::test {

namespace {

const char kEllipsis[] = "...";

std::vector<std::string> splitLines(const std::string& text) {
    std::vector<std::string> lines;
    std::size_t start = 0;
    while (start < text.size()) {
        std::size_t end = text.find('\n', start);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(start, end - start);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        lines.push_back(line);
        start = end + 1;
    }
    return lines;
}

bool startsWith(const std::string& s, const std::string& prefix) {
    return s.compare(0, prefix.size(), prefix) == 0;
}

bool endsWith(const std::string& s, const std::string& suffix) {
    return s.size() >= suffix.size() &&
           s.compare(s.size() - suffix.size(), suffix.size(), suffix) == 0;
}

std::string trimmedLeft(const std::string& s) {
    const std::size_t i = s.find_first_not_of(" \t");
    return i == std::string::npos ? "" : s.substr(i);
}

// Reads one Markdown text block by block; fences start in the first column.
class Parser {
  public:
    Parser(const std::string& file, DocExamples& out) : m_file(file), m_out(out) {}

    void parse(const std::vector<std::string>& lines) {
        for (m_i = 0; m_i < lines.size(); ++m_i) {
            const std::string& line = lines[m_i];
            if (line == "```console")
                consoleBlock(lines);
            else if (startsWith(line, "```cpp program="))
                programBlock(lines, line.substr(std::string("```cpp program=").size()));
            else if (startsWith(line, "```"))
                skipBlock(lines);
            else if (startsWith(trimmedLeft(line), "```console"))
                problem(lineNo(), "an indented console block is not run");
        }
    }

  private:
    int lineNo() const { return static_cast<int>(m_i) + 1; }

    void problem(int line, const std::string& what) {
        m_out.problems.push_back(m_file + ":" + std::to_string(line) + ": " + what);
    }

    void skipBlock(const std::vector<std::string>& lines) {
        const int open = lineNo();
        for (++m_i; m_i < lines.size(); ++m_i)
            if (startsWith(lines[m_i], "```")) return;
        problem(open, "the code block is not closed");
    }

    void consoleBlock(const std::vector<std::string>& lines) {
        const int open = lineNo();
        const std::size_t first = m_out.commands.size();
        for (++m_i; m_i < lines.size(); ++m_i) {
            const std::string& line = lines[m_i];
            if (startsWith(line, "```")) {
                if (m_out.commands.size() == first)
                    problem(open, "a console block without a command");
                return;
            }
            if (startsWith(line, "$ "))
                command(lines);
            else if (m_out.commands.size() == first)
                problem(lineNo(), "output before the block's first command");
            else
                m_out.commands.back().expectedOutput.push_back(line);
        }
        problem(open, "the console block is not closed");
    }

    // A command and its continuation lines; leaves m_i on its last line.
    void command(const std::vector<std::string>& lines) {
        DocCommand c;
        c.file = m_file;
        c.line = lineNo();
        std::string text = lines[m_i].substr(2);
        while (endsWith(text, "\\") && m_i + 1 < lines.size() && !startsWith(lines[m_i + 1], "```"))
            text += "\n" + lines[++m_i];
        static const std::regex exitMark(R"(\s+#\s*exit\s+(\d+)\s*$)");
        std::smatch m;
        if (std::regex_search(text, m, exitMark)) {
            c.expectedStatus = std::stoi(m[1].str());
            text.erase(static_cast<std::size_t>(m.position(0)));
        }
        c.command = text;
        m_out.commands.push_back(c);
    }

    void programBlock(const std::vector<std::string>& lines, const std::string& name) {
        DocProgram p;
        p.file = m_file;
        p.line = lineNo();
        p.name = name;
        const bool nameOk = !name.empty() && std::all_of(name.begin(), name.end(), [](char c) {
            return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_';
        });
        if (!nameOk) problem(p.line, "a program name of letters, digits, '-' and '_' is needed");
        for (++m_i; m_i < lines.size(); ++m_i) {
            if (startsWith(lines[m_i], "```")) {
                if (nameOk) m_out.programs.push_back(p);
                return;
            }
            p.source += lines[m_i] + "\n";
        }
        problem(p.line, "the program block is not closed");
    }

    std::string m_file;
    DocExamples& m_out;
    std::size_t m_i = 0;
};

}  // namespace

DocExamples parseDocExamples(const std::string& file, const std::string& markdown) {
    DocExamples out;
    Parser(file, out).parse(splitLines(markdown));
    return out;
}

DocExamples readDocExamples(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (const dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (endsWith(name, ".md")) names.push_back(name);
        }
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    DocExamples all;
    for (const std::string& name : names) {
        std::ifstream in(dir + "/" + name, std::ios::binary);
        std::ostringstream text;
        text << in.rdbuf();
        DocExamples one = parseDocExamples(name, text.str());
        all.commands.insert(all.commands.end(), one.commands.begin(), one.commands.end());
        all.programs.insert(all.programs.end(), one.programs.begin(), one.programs.end());
        all.problems.insert(all.problems.end(), one.problems.begin(), one.problems.end());
    }
    return all;
}

bool lineMatches(const std::string& expected, const std::string& actual) {
    std::vector<std::string> pieces;
    for (std::size_t start = 0;;) {
        const std::size_t at = expected.find(kEllipsis, start);
        pieces.push_back(expected.substr(start, at == std::string::npos ? at : at - start));
        if (at == std::string::npos) break;
        start = at + 3;
    }
    if (pieces.size() == 1) return expected == actual;
    const std::string& head = pieces.front();
    const std::string& tail = pieces.back();
    if (actual.size() < head.size() + tail.size() || !startsWith(actual, head) ||
        !endsWith(actual, tail))
        return false;
    std::size_t pos = head.size();
    const std::size_t limit = actual.size() - tail.size();
    for (std::size_t k = 1; k + 1 < pieces.size(); ++k) {
        pos = actual.find(pieces[k], pos);
        if (pos == std::string::npos || pos + pieces[k].size() > limit) return false;
        pos += pieces[k].size();
    }
    return true;
}

bool outputMatches(const std::vector<std::string>& expected, const std::string& output) {
    const std::vector<std::string> actual = splitLines(output);
    // reach[j]: the expected lines so far can cover the first j output lines exactly.
    std::vector<char> reach(actual.size() + 1, 0);
    reach[0] = 1;
    for (const std::string& e : expected) {
        std::vector<char> next(actual.size() + 1, 0);
        for (std::size_t j = 0; j <= actual.size(); ++j) {
            if (!reach[j]) continue;
            if (e == kEllipsis) {
                std::fill(next.begin() + static_cast<std::ptrdiff_t>(j), next.end(), 1);
                break;
            }
            if (j < actual.size() && lineMatches(e, actual[j])) next[j + 1] = 1;
        }
        reach.swap(next);
    }
    return reach[actual.size()] != 0;
}

std::string docTestName(const std::string& file, int line) {
    std::string name;
    for (char c : file) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name + "_" + std::to_string(line);
}

void PrintTo(const DocCommand& c, std::ostream* os) {
    *os << c.file << ":" << c.line << ": $ " << c.command;
}

void PrintTo(const DocProgram& p, std::ostream* os) {
    *os << p.file << ":" << p.line << ": program " << p.name;
}

}  // namespace xmldsig::test
