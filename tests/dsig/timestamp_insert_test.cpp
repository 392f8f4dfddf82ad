// Where AddEncapsulatedTimeStamp puts the timestamp, for each shape of signature: the
// innermost existing qualifying-properties element, else an unsigned Object, else a new
// Object. Every result keeps xmlsec1's verdict and verifies here with its timestamp.
#include <iterator>
#include <regex>
#include <string>
#include <vector>

#include "dsig/TimestampTestUtil.h"
#include "host/log/LogNull.h"
#include "host/log/RefCountedObjectOwner.h"
#include "host/xml/ClsXml.h"

namespace xmldsig::test {
namespace {

// Local names from the SignatureTimeStamp's parent up to the Signature, joined by '<', and the
// Id of the Object on the way.
struct Placement {
    std::string ancestry;
    std::string objectId;
    bool firstChild = false;
};

Placement placementOf(const std::string& xml) {
    Placement p;
    LogNull log;
    ClsXml* doc = ClsXml::createNewCls();
    RefCountedObjectOwner owner(doc);
    if (doc == nullptr || !doc->loadXml(StringBuffer(xml.c_str()), true, log)) return p;
    ClsXml* stamp = doc->searchForTag(nullptr, "*:SignatureTimeStamp");
    RefCountedObjectOwner stampOwner(stamp);
    if (stamp == nullptr) return p;
    const dom::Node* n = stamp->node();
    p.firstChild = n->parent != nullptr && n->parent->firstChildElement() == n;
    for (n = n->parent; n != nullptr && n->isElement(); n = n->parent) {
        if (!p.ancestry.empty()) p.ancestry += "<";
        p.ancestry += std::string(n->localName());
        if (n->localName() == "Object" && n->attributeValue("Id") != nullptr)
            p.objectId = *n->attributeValue("Id");
        if (n->localName() == "Signature") break;
    }
    return p;
}

const char kUspChain[] =
    "UnsignedSignatureProperties<UnsignedProperties<QualifyingProperties<"
    "Object<Signature";

struct PlacementRow {
    const char* name;
    XadesTemplate tmpl;
    std::string objectId;  // Id of the Object holding it; "new" for a generated one
    const char* logLine;
    std::string mustContain;  // in the result ("" for nothing)
};

XadesTemplate shape(const std::string& sigAttrs, const std::string& objects,
                    const std::string& extraRefs = "") {
    XadesTemplate t;
    t.sigAttrs = sigAttrs;
    t.objects = objects;
    t.extraRefs = extraRefs;
    return t;
}

const std::string kId = " Id=\"sig-1\"";
const std::string kNote = "<Note xmlns=\"urn:note\">n</Note>";
const std::string kUnsigned = "<xades:UnsignedProperties><xades:UnsignedSignatureProperties>";
const std::string kUnsignedEnd = "</xades:UnsignedSignatureProperties></xades:UnsignedProperties>";

const PlacementRow kPlacements[] = {
    {"AfterSignedProperties", shape(kId, qualifyingObject(kSignedProps)), "",
     "after the SignedProperties", "</xades:SignedProperties><xades:UnsignedProperties>"},
    {"IntoEmptyUnsignedSignatureProperties",
     shape(kId, qualifyingObject(std::string(kSignedProps) +
                                 "<xades:UnsignedProperties><xades:UnsignedSignatureProperties/>"
                                 "</xades:UnsignedProperties>")),
     "", "existing UnsignedSignatureProperties", ""},
    {"FirstInUnsignedSignatureProperties",
     shape(kId, qualifyingObject(kSignedProps + kUnsigned +
                                 "<xades:CompleteCertificateRefs Id=\"refs\"/>" + kUnsignedEnd)),
     "", "existing UnsignedSignatureProperties", "</xades:SignatureTimeStamp><xades:Complete"},
    {"IntoUnsignedProperties",
     shape(kId, qualifyingObject(std::string(kSignedProps) +
                                 "<xades:UnsignedProperties></xades:UnsignedProperties>")),
     "", "existing UnsignedProperties", ""},
    {"IntoQualifyingPropertiesWithoutSignedProperties", shape(kId, qualifyingObject("")), "",
     "existing QualifyingProperties", ""},
    {"IntoUnsignedObject", shape(kId, "<ds:Object Id=\"extra\">" + kNote + "</ds:Object>"), "extra",
     "unsigned Object",
     std::string("<ds:Object Id=\"extra\"><xades:QualifyingProperties xmlns:xades=\"") + kXadesNs +
         "\" Target=\"#sig-1\">"},
    {"IntoAnEmptyUnsignedObject", shape(kId, "<ds:Object Id=\"empty\"/>"), "empty",
     "unsigned Object", "<ds:Object Id=\"empty\"><xades:QualifyingProperties"},
    {"NewObjectWhenThereIsNone", shape(kId, ""), "new", "new Object", "</ds:KeyInfo><ds:Object"},
    {"NewObjectWhenTheOnlyObjectIsReferenced",
     shape(kId, "<ds:Object Id=\"data\">" + kNote + "</ds:Object>",
           reference("#data",
                     "<ds:Transform "
                     "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/>")),
     "new", "new Object", "</ds:Object><ds:Object Id=\"signature-object-"},
    {"NoTargetWithoutSignatureId", shape("", ""), "new", "new Object",
     std::string("<xades:QualifyingProperties xmlns:xades=\"") + kXadesNs + "\">"},
    {"NoSecondXadesDeclaration",
     shape(std::string(" xmlns:xades=\"") + kXadesNs + "\"" + kId,
           "<ds:Object Id=\"extra\">" + kNote + "</ds:Object>"),
     "extra", "unsigned Object", "<xades:QualifyingProperties Target=\"#sig-1\">"},
};

class TimestampPlacement : public TimestampTest,
                           public ::testing::WithParamInterface<PlacementRow> {};

TEST_P(TimestampPlacement, GoesWhereNothingSignedMoves) {
    const PlacementRow& row = GetParam();
    const std::string signedXml = xmlsecSign(xadesTemplate(row.tmpl));
    ASSERT_FALSE(signedXml.empty()) << xadesTemplate(row.tmpl);
    ASSERT_TRUE(xmlsecVerifies(signedXml));
    TimestampOutcome added = addTimestamp(signedXml, tsa().url());
    ASSERT_TRUE(added.ok) << added.log;
    EXPECT_NE(added.log.find(row.logLine), std::string::npos) << added.log;

    const Placement p = placementOf(added.out);
    EXPECT_EQ(p.ancestry, kUspChain) << added.out;
    EXPECT_TRUE(p.firstChild);
    if (!row.mustContain.empty())
        EXPECT_NE(added.out.find(row.mustContain), std::string::npos) << added.out;
    if (row.objectId == "new")
        EXPECT_TRUE(std::regex_match(p.objectId,
                                     std::regex("signature-object-\\d{4}-\\d{4}-\\d{4}-\\d{4}")))
            << p.objectId;
    else
        EXPECT_EQ(p.objectId, row.objectId);

    EXPECT_TRUE(xmlsecVerifies(added.out)) << added.out;
    VerifyOutcome v = verifyWithTimestamp(added.out);
    EXPECT_TRUE(v.ok) << v.log;
    EXPECT_TRUE(opensslVerifiesToken(tokenOf(added.out), canonicalSignatureValue(signedXml, true)));
}

TEST_F(TimestampTest, RefusalsLeaveTheOutputEmpty) {
    const std::string signedXml = signedDocument();
    const std::string noSigValueId = replaceFirst(signedXml, " Id=\"sig-1-value\"", "");
    ASSERT_TRUE(xmlsecVerifies(noSigValueId));  // SignatureValue is not signed
    struct Row {
        const char* name;
        std::string xml;
        std::vector<std::string> logLines;
    } rows[] = {
        {"SignatureValue without Id", noSigValueId, {"No SignatureValue Id attribute found."}},
        {"no signature",
         "<doc><a>no signature here</a></doc>",
         {"No signature at the selector index.", "No signature at the selector."}},
        {"duplicated signature Id",
         replaceFirst(signedXml, "<Amount ", "<Amount Id=\"sig-1\" "),
         {"More than one element has this Id", "Unable to find the Signature by Id."}},
    };
    for (const Row& r : rows) {
        DsigPtr dsig = newDsig();
        loadText(*dsig, r.xml);
        TimestampOutcome o = addTimestamp(*dsig, tsa().url());
        EXPECT_FALSE(o.ok) << r.name;
        EXPECT_TRUE(o.out.empty()) << r.name;
        for (const std::string& line : r.logLines)
            EXPECT_NE(o.log.find(line), std::string::npos) << r.name << "\n" << o.log;
        EXPECT_EQ(o.log.find("Success."), std::string::npos) << r.name;
    }
}

// A signature found by its Id needs no reference: the first one is only read to find a signature
// that has no Id.
TEST_F(TimestampTest, SignatureWithIdNeedsNoReference) {
    const std::string signedXml = signedDocument();
    const std::size_t from = signedXml.find("<ds:Reference"),
                      to = signedXml.rfind("</ds:Reference>") +
                           std::string("</ds:Reference>").size();
    ASSERT_LT(from, to);
    std::string noReference = signedXml;
    noReference.erase(from, to - from);
    const TimestampOutcome withId = addTimestamp(noReference, tsa().url());
    EXPECT_TRUE(withId.ok) << withId.log;
    EXPECT_NE(withId.out.find("<xades:EncapsulatedTimeStamp"), std::string::npos) << withId.out;
    const TimestampOutcome withoutId =
        addTimestamp(replaceFirst(noReference, " Id=\"sig-1\"", ""), tsa().url());
    EXPECT_FALSE(withoutId.ok);
    EXPECT_NE(withoutId.log.find("No Reference at index 0"), std::string::npos) << withoutId.log;
}

TEST_F(TimestampTest, LoadedDocumentStaysAsItWas) {
    DsigPtr dsig = newDsig();
    XadesTemplate t;  // no Object: the new Object and the timestamp both get fresh Ids
    const std::string signedXml = xmlsecSign(xadesTemplate(t));
    ASSERT_TRUE(loadText(*dsig, signedXml));
    TimestampOutcome first = addTimestamp(*dsig, tsa().url());
    TimestampOutcome second = addTimestamp(*dsig, tsa().url());
    ASSERT_TRUE(first.ok && second.ok) << first.log << second.log;
    EXPECT_FALSE(dsig->HasEncapsulatedTimeStamp());
    EXPECT_EQ(dsig->get_NumSignatures(), 1);
    EXPECT_TRUE(dsig->VerifySignature(true)) << dsig->lastErrorText();
    const std::regex ids("Id=\"(signature-object|signature-timestamp)-(\\d{4}-){3}\\d{4}\"");
    std::smatch m1, m2;
    ASSERT_TRUE(std::regex_search(first.out, m1, ids)) << first.out;
    ASSERT_TRUE(std::regex_search(second.out, m2, ids));
    EXPECT_NE(m1.str(), m2.str());  // drawn afresh each time
    auto count = [&](const std::string& s) {
        return std::distance(std::sregex_iterator(s.begin(), s.end(), ids), std::sregex_iterator());
    };
    EXPECT_EQ(count(first.out), 2);
    // Apart from the inserted Object the result is the loaded text, byte for byte.
    const std::string object =
        spanOf(first.out, "<ds:Object Id=\"signature-object-", "</ds:Object>");
    EXPECT_EQ(replaceFirst(first.out, object, ""), signedXml);
}

INSTANTIATE_TEST_SUITE_P(Shapes, TimestampPlacement, ::testing::ValuesIn(kPlacements),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace xmldsig::test
