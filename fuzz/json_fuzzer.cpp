// The JSON option objects (VerifyOptions, the timestamp authority's options). Property: the
// emitted form of a loaded object loads again and emits the same text.
#include "FuzzInput.h"
#include "host/cms/ClsJsonObject.h"
#include "host/cms/_clsCades.h"
#include "host/log/LogNull.h"

using namespace xmldsig;

XMLDSIG_FUZZ_TARGET(json_fuzzer) {
    fuzz::FuzzInput in(data, size);
    const std::string path = in.shortText(32);
    XString text;
    text.setFromSbUtf8(in.restSb());
    ClsJsonObject json;
    LogNull log;
    _clsCades cades;
    cades.put_CmsOptions(text.getUtf8Sb());
    cades.cmsOptionBool("VerifyTsaCertChain", false, log);
    cades.cmsOptionInt("MaxReferences", 100, log);
    if (!json.Load(text)) return 0;
    XString value, emitted, emittedAgain;
    bool flag = false;
    json.StringOf(XString(path.c_str()), value);
    json.BoolOf(XString(path.c_str()), flag);
    json.HasMember(XString(path.c_str()));
    if (!json.Emit(emitted)) fuzz::propertyBroken("a loaded object does not emit");
    ClsJsonObject again;
    if (!again.Load(emitted) || !again.Emit(emittedAgain))
        fuzz::propertyBroken("an emitted object does not load");
    if (!emitted.getUtf8Sb().equals(emittedAgain.getUtf8Sb()))
        fuzz::propertyBroken("emit(load(emit(x))) != emit(x)");
    json.UpdateString(XString(path.c_str()), XString("v"));
    return 0;
}
