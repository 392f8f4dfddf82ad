#include "cli/Report.h"

#include <cstdarg>
#include <vector>

namespace xmldsig::cli {

namespace {

void appendFormatted(std::string& to, const char* format, va_list args) {
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, format, copy);
    va_end(copy);
    if (n <= 0) return;
    std::vector<char> buf(static_cast<std::size_t>(n) + 1);
    std::vsnprintf(buf.data(), buf.size(), format, args);
    to.append(buf.data(), static_cast<std::size_t>(n));
}

}  // namespace

void Report::out(const char* format, ...) {
    va_list args;
    va_start(args, format);
    appendFormatted(m_out, format, args);
    va_end(args);
}

void Report::err(const char* format, ...) {
    va_list args;
    va_start(args, format);
    appendFormatted(m_err, format, args);
    va_end(args);
}

void Report::flush() {
    std::fwrite(m_out.data(), 1, m_out.size(), stdout);
    std::fflush(stdout);
    std::fwrite(m_err.data(), 1, m_err.size(), stderr);
    m_out.clear();
    m_err.clear();
}

}  // namespace xmldsig::cli
