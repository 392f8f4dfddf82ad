#include "cli/Session.h"

#include <cstdio>
#include <cstdlib>
#include <string>

#include "cli/Input.h"
#include "host/xml/ClsBinData.h"

namespace xmldsig::cli {

Session::Session(const ParsedArgs& args, Report& report)
    : m_args(args), m_report(report), m_dsig(ClsXmlDSig::createNewCls()), m_owner(m_dsig) {
    if (m_dsig == nullptr) {
        std::fprintf(stderr, "xmldsig: out of memory\n");
        std::exit(kExitFailed);
    }
    m_dsig->put_VerboseLogging(args.has("--verbose"));
    std::string options;
    for (const auto& word : args.all("--option")) options += (options.empty() ? "" : ",") + word;
    m_dsig->put_UncommonOptions(XString(options.c_str()));
}

bool Session::load(const std::string& file) {
    DataBuffer bytes;
    std::string error;
    if (!readInput(file, bytes, error)) {
        m_report.err("xmldsig: %s\n", error.c_str());
        return false;
    }
    return loadBytes(file, bytes);
}

bool Session::loadBytes(const std::string& file, const DataBuffer& bytes) {
    ClsBinData bd;
    bd.m_data.append(bytes);
    if (m_dsig->LoadSignatureBd(bd)) return true;
    m_report.err("%s: cannot load the document\n%s", file.c_str(), m_dsig->lastErrorText().c_str());
    return false;
}

bool Session::selectedIndexes(int count, std::vector<int>& out) const {
    out.clear();
    if (!m_args.has("--signature")) {
        for (int i = 0; i < count; ++i) out.push_back(i);
        return true;
    }
    const std::string v = m_args.value("--signature");
    char* end = nullptr;
    long n = std::strtol(v.c_str(), &end, 10);
    if (v.empty() || *end != '\0' || n < 0 || n >= count) {
        m_report.err("xmldsig: --signature %s: the document has %d signature%s\n", v.c_str(), count,
                     count == 1 ? "" : "s");
        return false;
    }
    out.push_back(static_cast<int>(n));
    return true;
}

// --max-references and --max-transforms become the VerifyOptions members that raise the caps.
bool Session::applyWorkCaps() {
    std::string json;
    for (const char* name : {"--max-references", "--max-transforms"}) {
        if (!m_args.has(name)) continue;
        const std::string v = m_args.value(name, "");
        char* end = nullptr;
        const long n = std::strtol(v.c_str(), &end, 10);
        if (v.empty() || *end != '\0' || n < 0 || n > 1000000) {
            m_report.err("xmldsig: %s %s: expected a number from 0 to 1000000\n", name, v.c_str());
            return false;
        }
        json += std::string(json.empty() ? "{" : ", ") +
                (name[6] == 'r' ? "\"MaxReferences\": " : "\"MaxTransforms\": ") +
                std::to_string(n);
    }
    if (!json.empty()) m_dsig->put_VerifyOptions(XString((json + "}").c_str()));
    return true;
}

bool Session::applyReferenceOptions(const std::string& file) {
    std::string dirs;
    for (const auto& d : m_args.all("--ext-dir")) dirs += (dirs.empty() ? "" : ";") + d;
    if (dirs.empty() && file != "-") {
        auto slash = file.find_last_of('/');
        dirs = slash == std::string::npos ? "." : file.substr(0, slash == 0 ? 1 : slash);
    }
    m_dsig->put_ExternalRefDirs(XString(dirs.c_str()));
    m_dsig->put_IgnoreExternalRefs(m_args.has("--ignore-external"));
    if (!applyWorkCaps()) return false;
    // The values were checked when the command line was read: N=FILE, N from 0 to 100.
    for (const auto& spec : m_args.all("--ref-file")) {
        const auto eq = spec.find('=');
        const int index = std::atoi(spec.c_str());
        if (index >= m_dsig->get_NumReferences()) {
            m_report.err("xmldsig: --ref-file %s: the signature has %d reference%s\n", spec.c_str(),
                         m_dsig->get_NumReferences(), m_dsig->get_NumReferences() == 1 ? "" : "s");
            return false;
        }
        m_dsig->SetRefDataFile(index, XString(spec.substr(eq + 1).c_str()));
    }
    return true;
}

void Session::printLogIfAsked() {
    if (m_args.has("--log")) m_report.errText(m_dsig->lastErrorText());
}

}  // namespace xmldsig::cli
