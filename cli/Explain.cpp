#include "cli/Explain.h"

#include <cerrno>
#include <cstring>
#include <fstream>

#include "host/xml/ClsBinData.h"

namespace xmldsig::cli {

const OptionSpec kOptExplain{"--explain", true, false, "DIR",
                             "for each reference whose digest does not match, write the bytes "
                             "that were hashed to a file in DIR"};

std::string explainReference(ClsXmlDSig& dsig, const std::string& dir, const std::string& file,
                             int signature, int reference) {
    ClsBinData data;
    XString externalFile;
    const std::string what = "reference " + std::to_string(reference);
    if (!dsig.GetHashedData(data, externalFile))
        return what + ": nothing was hashed (the reference failed before its digest)\n";
    if (!externalFile.isEmpty())
        return what + ": the external file " + externalFile.getUtf8() +
               " was hashed as it is, byte for byte\n";
    const std::string base = file == "-" ? "stdin" : file.substr(file.find_last_of('/') + 1);
    const std::string path = dir + "/" + base + ".sig" + std::to_string(signature) + ".ref" +
                             std::to_string(reference) + ".hashed";
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.m_data.getData2()),
              static_cast<std::streamsize>(data.m_data.getSize()));
    if (!out) return what + ": cannot write " + path + ": " + std::strerror(errno) + "\n";
    return what + ": the " + std::to_string(data.m_data.getSize()) + " bytes hashed are in " +
           path + "\n";
}

}  // namespace xmldsig::cli
