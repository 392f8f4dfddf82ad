#include "support/CorpusVerify.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <memory>
#include <sstream>

#include "host/cert/ClsXmlCertVault.h"
#include "host/crypto/ClsPublicKey.h"
#include "host/xml/ClsBinData.h"
#include "host/xml/ClsStringBuilder.h"
#include "support/DsigTestUtil.h"
#include "support/TransformTestAccess.h"

namespace fs = std::filesystem;

namespace xmldsig::test {

namespace {

std::string lower(std::string s) {
    for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

bool contains(const std::string& haystack, const std::string& needle) {
    return haystack.find(needle) != std::string::npos;
}

std::string baseName(const std::string& path) {
    return fs::path(path).filename().string();
}

// "name.ext" -> {"name", ".ext"}; no dot -> {"name", ""}.
std::pair<std::string, std::string> stemAndExtension(const std::string& name) {
    const auto dot = name.find_last_of('.');
    if (dot == std::string::npos) return {name, ""};
    return {name.substr(0, dot), name.substr(dot)};
}

std::string hexOf(const std::string& bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string hex;
    for (unsigned char c : bytes) {
        hex += digits[c >> 4];
        hex += digits[c & 15];
    }
    return hex;
}

// One file the manifest names: remote-reference data, an HMAC secret, or a key or certificate.
// Key stores of other tools (xmlsec's keys.xml, PKCS#12 files without a known password) are not
// read.
void classifyFile(const std::string& path, KeyMaterial& km) {
    const std::string name = baseName(path);
    if (contains(path, "/external-data/")) {
        km.dataFiles.push_back(path);
    } else if (name == "hmackey.bin") {
        km.hmacKeyHex = hexOf(readFile(path));
    } else {
        const std::string ext = lower(stemAndExtension(name).second);
        if (ext == ".pem" || ext == ".crt" || ext == ".der" || ext == ".cer") {
            km.keyFiles.push_back(path);
            km.certFiles.push_back(path);
        }
    }
}

// The words of the key-material column that name a file or a folder of the corpus
// ("zatca/certs/*.pem" names the folder).
void addNamedPaths(const std::string& column, KeyMaterial& km) {
    std::istringstream words(column);
    std::string w;
    while (words >> w) {
        while (!w.empty() && (w.back() == ';' || w.back() == ',' || w.back() == ')')) w.pop_back();
        if (w.size() > 5 && w.compare(w.size() - 5, 5, "*.pem") == 0) w.resize(w.size() - 5);
        if (w.empty() || w.find('/') == std::string::npos) continue;
        const std::string path = corpusPath(w);
        std::error_code ec;
        if (fs::is_directory(path, ec))
            km.certDirs.push_back(path);
        else if (fs::is_regular_file(path, ec))
            classifyFile(path, km);
    }
}

using VaultPtr = std::unique_ptr<ClsXmlCertVault>;

VaultPtr vaultFor(const KeyMaterial& km, std::string& log) {
    if (km.certFiles.empty() && km.certDirs.empty()) return nullptr;
    VaultPtr vault(ClsXmlCertVault::createNewCls());
    if (!vault) return nullptr;
    // Public-key files are not certificates: a refusal here is expected and harmless.
    for (const auto& f : km.certFiles) vault->AddCertFile(XString(f.c_str()));
    for (const auto& d : km.certDirs)
        if (!vault->AddCertDir(XString(d.c_str()))) log += "vault: no certificate in " + d + "\n";
    return vault;
}

struct KeyRelease {
    void operator()(ClsPublicKey* k) const { k->decRefCount(); }
};
using KeyPtr = std::unique_ptr<ClsPublicKey, KeyRelease>;

std::vector<KeyPtr> callerKeys(const KeyMaterial& km, std::string& log) {
    std::vector<KeyPtr> keys;
    for (const auto& f : km.keyFiles) {
        KeyPtr key(ClsPublicKey::createNewCls());
        if (key && key->LoadFromFile(XString(f.c_str())))
            keys.push_back(std::move(key));
        else
            log += "caller key: no public key could be read from " + f + "\n";
    }
    return keys;
}

// The listed file whose name starts with the URI's last path segment (without its extension)
// and has the same extension; "" when none.
std::string remoteDataFile(const std::string& uri, const std::vector<std::string>& dataFiles) {
    const std::string segment = uri.substr(uri.find_last_of('/') + 1);
    if (segment.empty()) return "";
    const auto [stem, ext] = stemAndExtension(segment);
    for (const auto& f : dataFiles) {
        const auto [fileStem, fileExt] = stemAndExtension(baseName(f));
        if (fileStem.rfind(stem, 0) == 0 && fileExt == ext) return f;
    }
    return "";
}

std::string referenceUri(ClsXmlDSig& dsig, int index) {
    XString uri;
    return dsig.ReferenceUri(index, uri) ? std::string(uri.getUtf8()) : std::string();
}

void supplyRemoteData(ClsXmlDSig& dsig, const std::vector<std::string>& dataFiles) {
    for (int i = 0; i < dsig.get_NumReferences(); ++i) {
        const std::string uri = referenceUri(dsig, i);
        if (uri.find("://") == std::string::npos) continue;
        const std::string file = remoteDataFile(uri, dataFiles);
        if (!file.empty()) dsig.SetRefDataFile(i, XString(file.c_str()));
    }
}

bool load(ClsXmlDSig& dsig, const VerifyRequest& req) {
    if (req.isUtf8Text) {
        ClsStringBuilder sb;
        sb.SetString(req.document.c_str());
        return dsig.LoadSignatureSb(sb);
    }
    ClsBinData bd;
    DataBuffer db;
    db.append(req.document.data(), req.document.size());
    bd.AppendBinary(db);
    return dsig.LoadSignatureBd(bd);
}

void supplyKeysAndData(ClsXmlDSig& dsig, const VerifyRequest& req, const KeyMaterial& keys,
                       ClsXmlCertVault* vault) {
    dsig.put_ExternalRefDirs(XString(req.docDir.c_str()));
    dsig.put_Selector(req.index);
    if (vault != nullptr) dsig.UseCertVault(*vault);
    if (!keys.hmacKeyHex.empty()) {
        XString secret(keys.hmacKeyHex.c_str());
        dsig.SetHmacKey(secret, XString("hex"));
    }
    supplyRemoteData(dsig, keys.dataFiles);
    if (req.dataOverrideRef >= 0) {
        ClsBinData bd;
        DataBuffer db;
        db.append(req.dataOverride.data(), req.dataOverride.size());
        bd.AppendBinary(db);
        dsig.SetRefDataBd(req.dataOverrideRef, bd);
    }
}

}  // namespace

Expectation expectationFor(const std::string& expected) {
    Expectation e;
    if (expected.rfind("valid under ZATCA rules", 0) == 0) {
        e.kind = Expectation::Valid;
        e.option = "ZATCA";
    } else if (contains(expected, "valid under LHDN rules")) {
        e.kind = Expectation::Valid;
        e.option = "MYINVOIS";
    } else if (expected.rfind("invalid (container-level)", 0) == 0) {
        e.kind = Expectation::AnyVerdict;  // the container fails, not necessarily the signature
    } else if (expected.rfind("invalid", 0) == 0) {
        e.kind = Expectation::Invalid;
    } else if (expected.rfind("valid", 0) == 0) {
        e.kind = Expectation::Valid;
    }
    return e;  // "unknown", "no signature": any verdict, robustness only
}

std::string KeyMaterial::describe() const {
    std::string s;
    for (const auto& f : keyFiles) s += " key:" + baseName(f);
    for (const auto& d : certDirs) s += " certdir:" + d;
    for (const auto& f : dataFiles) s += " data:" + baseName(f);
    if (!hmacKeyHex.empty()) s += " hmac:" + hmacKeyHex;
    return s.empty() ? " (none)" : s;
}

KeyMaterial keyMaterialFor(const ManifestRow& row) {
    KeyMaterial km;
    addNamedPaths(row.keyMaterial, km);
    const fs::path docDir = fs::path(corpusPath(row.path)).parent_path();
    std::error_code ec;
    for (const char* sub : {"certs", "keys"})
        if (fs::is_directory(docDir / sub, ec)) km.certDirs.push_back((docDir / sub).string());
    for (auto& d : km.certDirs) {
        d = fs::path(d).lexically_normal().string();
        if (d.size() > 1 && d.back() == '/') d.pop_back();
    }
    std::sort(km.certDirs.begin(), km.certDirs.end());
    km.certDirs.erase(std::unique(km.certDirs.begin(), km.certDirs.end()), km.certDirs.end());
    for (const char* sub : {"keys", "certs"}) {
        const fs::path secret = docDir / sub / "hmackey.bin";
        if (km.hmacKeyHex.empty() && fs::is_regular_file(secret, ec))
            km.hmacKeyHex = hexOf(readFile(secret.string()));
    }
    return km;
}

std::string verifierText(const std::string& bytes, int& numSignatures) {
    numSignatures = 0;
    auto probe = newDsig();
    ClsBinData bd;
    DataBuffer db;
    db.append(bytes.data(), bytes.size());
    bd.AppendBinary(db);
    if (!probe || !probe->LoadSignatureBd(bd)) return "";
    numSignatures = probe->get_NumSignatures();
    return TransformTestAccess::xmlText(*probe).str();
}

std::string referenceDataFile(const std::string& uri, const KeyMaterial& keys,
                              const std::string& docDir) {
    if (uri.find("://") != std::string::npos) return remoteDataFile(uri, keys.dataFiles);
    std::error_code ec;
    const fs::path local = fs::path(docDir) / uri;
    return fs::is_regular_file(local, ec) ? local.string() : "";
}

VerifyOutcome verifyCorpusDocument(const VerifyRequest& req, const KeyMaterial& keys) {
    VerifyOutcome out;
    VaultPtr vault = vaultFor(keys, out.log);
    std::vector<KeyPtr> given = callerKeys(keys, out.log);
    const size_t attempts = std::max<size_t>(1, given.size());
    for (size_t a = 0; a < attempts; ++a) {
        auto dsig = newDsig();
        if (!dsig) return out;
        dsig->put_UncommonOptions(XString(req.option.c_str()));
        out.loaded = load(*dsig, req);
        if (!out.loaded) {
            out.log += dsig->lastErrorText();
            return out;
        }
        supplyKeysAndData(*dsig, req, keys, vault.get());
        if (a < given.size()) dsig->SetPublicKey(*given[a]);
        out.valid = dsig->VerifySignature(req.checkReferences);
        out.refFailReason = dsig->get_RefFailReason();
        out.log += dsig->lastErrorText();
        if (out.valid) break;
    }
    return out;
}

void PrintTo(const ManifestRow& row, std::ostream* os) {
    *os << row.path;
}

}  // namespace xmldsig::test
