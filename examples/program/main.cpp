// Verifies every signature of a signed XML file, references included.
//   verify_signatures FILE
// Prints "FILE#N: valid" or "FILE#N: invalid" for each signature, and the verifier's log after
// an invalid one. Exits 0 only when the file has signatures and all of them are valid.
#include <cstdio>
#include <memory>

#include "dsig/ClsXmlDSig.h"
#include "host/text/XString.h"
#include "host/xml/ClsBinData.h"

namespace {

void printLog(const xmldsig::ClsXmlDSig& dsig) {
    xmldsig::XString log;
    dsig.LastErrorText(log);
    std::fputs(log.getUtf8(), stdout);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s FILE\n", argv[0]);
        return 2;
    }
    const char* file = argv[1];

    xmldsig::ClsBinData document;
    if (!document.LoadFile(file)) {
        std::fprintf(stderr, "%s: cannot read the file\n", file);
        return 1;
    }
    // A verification leaves state behind in its component (a family's extract, a saved digest),
    // so each signature gets a component of its own, loaded afresh.
    const auto loaded = [&]() -> std::unique_ptr<xmldsig::ClsXmlDSig> {
        std::unique_ptr<xmldsig::ClsXmlDSig> dsig(xmldsig::ClsXmlDSig::createNewCls());
        if (!dsig) {
            std::fprintf(stderr, "cannot create the verifier\n");
            return nullptr;
        }
        if (dsig->LoadSignatureBd(document)) return dsig;
        std::printf("%s: cannot load the document\n", file);
        printLog(*dsig);
        return nullptr;
    };
    auto first = loaded();
    if (!first) return 1;
    const int count = first->get_NumSignatures();
    if (count == 0) {
        std::printf("%s: no signature\n", file);
        return 1;
    }
    bool allValid = true;
    for (int i = 0; i < count; ++i) {
        auto dsig = i == 0 ? std::move(first) : loaded();
        if (!dsig) return 1;
        dsig->put_Selector(i);
        const bool valid = dsig->VerifySignature(true);
        std::printf("%s#%d: %s\n", file, i, valid ? "valid" : "invalid");
        if (!valid) printLog(*dsig);
        allValid = allValid && valid;
    }
    return allValid ? 0 : 1;
}
