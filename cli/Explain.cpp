#include "cli/Explain.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>

#include "host/log/LogNull.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/FileSys.h"

namespace xmldsig::cli {

const OptionSpec kOptExplain{"--explain", true, false, "DIR",
                             "for each reference whose digest does not match, write the bytes "
                             "that were hashed to a file in DIR"};
const OptionSpec kOptSignedOut{"--signed-out", true, false, "DIR",
                               "for every reference, write the bytes that were hashed (what the "
                               "signature covers) to a file in DIR"};

std::string hashedFileName(const std::string& file, int signature, int reference) {
    std::string name;
    if (file == "-") name = "%2D";
    for (unsigned char c : file == "-" ? std::string() : file) {
        if (c == '%' || c == '/' || c < 0x20 || c == 0x7f) {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", c);
            name += hex;
        } else {
            name += static_cast<char>(c);
        }
    }
    return name + ".sig" + std::to_string(signature) + ".ref" + std::to_string(reference) +
           ".hashed";
}

std::string writeHashedReference(ClsXmlDSig& dsig, const std::string& dir, const std::string& file,
                                 int signature, int reference, bool copyExternal) {
    ClsBinData data;
    XString externalFile;
    const std::string what = "reference " + std::to_string(reference);
    if (!dsig.GetHashedData(data, externalFile))
        return what + ": nothing was hashed (the reference failed before its digest)\n";
    if (!externalFile.isEmpty()) {
        LogNull quiet;
        if (!copyExternal || !FileSys::readFileToDb(externalFile.getUtf8(), data.m_data, quiet))
            return what + ": the external file " + externalFile.getUtf8() +
                   " was hashed as it is, byte for byte\n";
    }
    const std::string path = dir + "/" + hashedFileName(file, signature, reference);
    std::ofstream out(path, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.m_data.getData2()),
              static_cast<std::streamsize>(data.m_data.getSize()));
    if (!out) return what + ": cannot write " + path + ": " + std::strerror(errno) + "\n";
    return what + ": the " + std::to_string(data.m_data.getSize()) + " bytes hashed are in " +
           path + "\n";
}

}  // namespace xmldsig::cli
