#include "support/DataTable.h"

#include <gtest/gtest.h>

#include <cctype>
#include <fstream>
#include <sstream>

namespace xmldsig::test {
namespace {

std::vector<std::string> splitTabs(const std::string& line) {
    std::vector<std::string> out;
    std::istringstream in(line);
    std::string f;
    while (std::getline(in, f, '\t')) out.push_back(f);
    if (!line.empty() && line.back() == '\t') out.emplace_back();
    return out;
}

std::string unescape(const std::string& s, const std::map<std::string, std::string>& defs) {
    std::string out;
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '\\' && i + 1 < s.size()) {
            const char c = s[++i];
            if (c == 'x' && i + 2 < s.size() &&
                std::isxdigit(static_cast<unsigned char>(s[i + 1])) &&
                std::isxdigit(static_cast<unsigned char>(s[i + 2]))) {
                out += static_cast<char>(std::stoi(s.substr(i + 1, 2), nullptr, 16));
                i += 2;
                continue;
            }
            out += c == 't' ? '\t' : c == 'n' ? '\n' : c == 'r' ? '\r' : c == '0' ? '\0' : c;
            continue;
        }
        const std::size_t close = s[i] == '{' ? s.find('}', i) : std::string::npos;
        const auto def =
            close == std::string::npos ? defs.end() : defs.find(s.substr(i + 1, close - i - 1));
        if (def != defs.end()) {
            out += def->second;
            i = close;
            continue;
        }
        out += s[i];
    }
    return out;
}

}  // namespace

const std::string& DataRow::operator[](const std::string& column) const {
    static const std::string none;
    const auto it = fields.find(column);
    if (it != fields.end()) return it->second;
    ADD_FAILURE() << where() << ": no column " << column;
    return none;
}

bool DataRow::flag(const std::string& column) const {
    const std::string& v = (*this)[column];
    return v == "yes" || v == "true" || v == "1";
}

int DataRow::number(const std::string& column) const {
    return std::atoi((*this)[column].c_str());
}

std::vector<DataRow> loadTable(const std::string& relPath,
                               std::map<std::string, std::string> pieces) {
    const std::string path = !relPath.empty() && relPath[0] == '/'
                                 ? relPath
                                 : std::string(XMLDSIG_TEST_DATA_DIR) + "/" + relPath;
    std::ifstream in(path, std::ios::binary);
    std::vector<DataRow> rows;
    if (!in) {
        ADD_FAILURE() << "cannot read " << path;
        return rows;
    }
    std::map<std::string, std::string>& defs = pieces;
    std::vector<std::string> columns;
    std::string line;
    for (int n = 1; std::getline(in, line); ++n) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> cells = splitTabs(line);
        if (line[0] == '=') {
            defs[cells[0].substr(1)] = cells.size() > 1 ? unescape(cells[1], defs) : "";
        } else if (columns.empty()) {
            columns = cells;
        } else {
            DataRow row{relPath, n, {}};
            for (std::size_t i = 0; i < columns.size(); ++i)
                row.fields[columns[i]] = i < cells.size() ? unescape(cells[i], defs) : "";
            rows.push_back(std::move(row));
        }
    }
    return rows;
}

std::string testNameFor(const std::string& text) {
    std::string name;
    for (char c : text) name += std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
    return name;
}

void PrintTo(const DataRow& row, std::ostream* os) {
    *os << row.where();
}

}  // namespace xmldsig::test
