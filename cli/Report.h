// What a command has to say about one file, collected so that files verified in parallel are
// still reported whole and in the order given.
#pragma once

#include <cstdio>
#include <string>

namespace xmldsig::cli {

class Report {
  public:
    // printf-style appends to the text for standard output and standard error.
    void out(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void err(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void outText(const std::string& text) { m_out += text; }
    void errText(const std::string& text) { m_err += text; }
    // Writes both texts to their streams and empties them.
    void flush();

  private:
    std::string m_out, m_err;
};

// A report written out when it goes out of scope, for commands that handle one file.
class ScopedReport : public Report {
  public:
    ScopedReport() = default;
    ScopedReport(const ScopedReport&) = delete;
    ScopedReport& operator=(const ScopedReport&) = delete;
    ~ScopedReport() { flush(); }
};

}  // namespace xmldsig::cli
