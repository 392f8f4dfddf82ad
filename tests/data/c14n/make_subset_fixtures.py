#!/usr/bin/python3
"""Writes the expected canonical forms of document subsets under subsets/ and the manifest
subsets.tsv, with libxml2 (the libxml2 shared library that xmllint uses) as the oracle.

xmllint canonicalizes whole documents only, so the subsets a signature reference selects (one
element by its Id, or the n-th authenticate="true" element of an EBICS request) are produced here
by calling libxml2 directly through ctypes: the document is parsed with entity substitution and
DTD attribute defaults (as xmllint --c14n does), the node-set
(//. | //@* | //namespace::*)[ancestor-or-self::E] is selected with libxml2's XPath, and
xmlC14NDocDumpMemory canonicalizes it with the mode, the comment switch and the InclusiveNamespaces
prefixes. That is the document-subset semantics of the W3C recommendations (inherited namespace
bindings and, inclusively, xml:* attributes), the same route by which libxml2's own c14n test
results were made.

Run from this folder: /usr/bin/python3 make_subset_fixtures.py
"""
import ctypes
import ctypes.util
import os

# (document, selection, mode, with comments, inclusive prefixes)
# selection: "id=X" one element by Id, "ebics=N" the N-th authenticate="true" element, "whole".
CASES = [
    ("01-ns-inheritance.xml", "id=c1", "inclusive", False, ""),
    ("01-ns-inheritance.xml", "id=c1", "exclusive", False, ""),
    ("01-ns-inheritance.xml", "id=c1", "inclusive", True, ""),
    ("01-ns-inheritance.xml", "id=d1", "inclusive", False, ""),
    ("01-ns-inheritance.xml", "id=d1", "exclusive", False, ""),
    ("02-default-ns-undeclare.xml", "id=g1", "inclusive", False, ""),
    ("02-default-ns-undeclare.xml", "id=g1", "exclusive", False, ""),
    ("02-default-ns-undeclare.xml", "id=x1", "inclusive", False, ""),
    ("02-default-ns-undeclare.xml", "id=x1", "exclusive", False, ""),
    ("02-default-ns-undeclare.xml", "whole", "exclusive", False, "#default"),
    ("04-xml-attrs.xml", "id=p1", "inclusive", False, ""),
    ("04-xml-attrs.xml", "id=e1", "inclusive", False, ""),
    ("04-xml-attrs.xml", "id=i2", "inclusive", False, ""),
    ("04-xml-attrs.xml", "id=p2", "exclusive", False, ""),
    ("04-xml-attrs.xml", "id=s1", "inclusive", False, ""),
    ("10-comments-pis-inside.xml", "id=b1", "inclusive", True, ""),
    ("10-comments-pis-inside.xml", "id=b1", "exclusive", True, ""),
    ("10-comments-pis-inside.xml", "id=b1", "inclusive", False, ""),
    ("11-internal-entities.xml", "id=m1", "inclusive", False, ""),
    ("12-default-attrs.xml", "id=n1", "inclusive", False, ""),
    ("12-default-attrs.xml", "id=n1", "exclusive", False, ""),
    ("12-default-attrs.xml", "id=i1", "inclusive", False, ""),
    ("14-attr-sorting.xml", "id=srt", "inclusive", False, ""),
    ("16-exc-visibly-utilized.xml", "id=v1", "exclusive", False, ""),
    ("16-exc-visibly-utilized.xml", "id=v1", "exclusive", False, "unused"),
    ("16-exc-visibly-utilized.xml", "id=v1", "exclusive", False, "#default"),
    ("16-exc-visibly-utilized.xml", "id=v1", "exclusive", False, "#default unused attr nothere"),
    ("16-exc-visibly-utilized.xml", "id=v1", "inclusive", False, ""),
    ("17-exc-superfluous.xml", "id=f1", "exclusive", False, ""),
    ("17-exc-superfluous.xml", "id=f1", "inclusive", False, ""),
    ("18-xmldsig-sample.xml", "id=si1", "exclusive", False, "ds"),
    ("18-xmldsig-sample.xml", "id=si1", "exclusive", False, ""),
    ("18-xmldsig-sample.xml", "id=si1", "inclusive", False, ""),
    ("18-xmldsig-sample.xml", "id=data1", "exclusive", False, ""),
    ("18-xmldsig-sample.xml", "id=data1", "inclusive", False, ""),
    ("19-soap-wssec.xml", "id=Body-1", "exclusive", False, ""),
    ("19-soap-wssec.xml", "id=Body-1", "inclusive", False, ""),
    ("19-soap-wssec.xml", "id=TS-1", "exclusive", False, "soap"),
    ("19-soap-wssec.xml", "id=TS-1", "exclusive", False, "wsse soap"),
    ("24-prefix-rebinding.xml", "id=a", "inclusive", False, ""),
    ("24-prefix-rebinding.xml", "id=a", "exclusive", False, ""),
    ("24-prefix-rebinding.xml", "id=d", "inclusive", False, ""),
    ("24-prefix-rebinding.xml", "id=d", "exclusive", False, ""),
    ("25-default-and-prefix-same-uri.xml", "id=sa", "inclusive", False, ""),
    ("25-default-and-prefix-same-uri.xml", "id=sa", "exclusive", False, ""),
    ("27-xml-ns-declared.xml", "id=xa", "inclusive", False, ""),
    ("27-xml-ns-declared.xml", "id=xa", "exclusive", False, ""),
    ("30-saml-assertion.xml", "id=assert-1", "inclusive", False, ""),
    ("30-saml-assertion.xml", "id=assert-1", "exclusive", False, ""),
    ("31-ebics-like.xml", "ebics=0", "inclusive", False, ""),
    ("31-ebics-like.xml", "ebics=1", "inclusive", False, ""),
    ("31-ebics-like.xml", "ebics=1", "exclusive", False, ""),
    ("32-ubl-invoice.xml", "whole", "exclusive", False, "cbc cac"),
    ("32-ubl-invoice.xml", "whole", "exclusive", False, "#default ext"),
    ("35-nested-undeclare-exc.xml", "whole", "exclusive", False, "#default"),
    ("36-ns-attr-on-descendant.xml", "whole", "exclusive", False, "b"),
]

ID_NAMES = "local-name()='Id' or local-name()='ID' or local-name()='id' or " \
           "local-name()='AssertionID' or local-name()='ResponseID' or local-name()='RequestID'"


def element_xpath(selection):
    kind, _, value = selection.partition("=")
    if kind == "id":
        return "//*[@*[%s]='%s']" % (ID_NAMES, value)
    if kind == "ebics":
        return "(//*[@authenticate='true'])[%d]" % (int(value) + 1)
    return None


_lib = ctypes.CDLL(ctypes.util.find_library("xml2") or "libxml2.so.2")
_lib.xmlReadFile.restype = ctypes.c_void_p
_lib.xmlReadFile.argtypes = [ctypes.c_char_p, ctypes.c_char_p, ctypes.c_int]
_lib.xmlXPathNewContext.restype = ctypes.c_void_p
_lib.xmlXPathNewContext.argtypes = [ctypes.c_void_p]
_lib.xmlXPathEvalExpression.restype = ctypes.c_void_p
_lib.xmlXPathEvalExpression.argtypes = [ctypes.c_char_p, ctypes.c_void_p]
_lib.xmlXPathFreeObject.argtypes = [ctypes.c_void_p]
_lib.xmlXPathFreeContext.argtypes = [ctypes.c_void_p]
_lib.xmlFreeDoc.argtypes = [ctypes.c_void_p]
_lib.xmlC14NDocDumpMemory.restype = ctypes.c_int
_lib.xmlC14NDocDumpMemory.argtypes = [ctypes.c_void_p, ctypes.c_void_p, ctypes.c_int,
                                      ctypes.POINTER(ctypes.c_char_p), ctypes.c_int,
                                      ctypes.POINTER(ctypes.c_void_p)]
XML_PARSE_NOENT, XML_PARSE_DTDATTR = 2, 8
XML_C14N_1_0, XML_C14N_EXCLUSIVE_1_0 = 0, 1


class XPathObject(ctypes.Structure):  # the leading fields of xmlXPathObject
    _fields_ = [("type", ctypes.c_int), ("nodesetval", ctypes.c_void_p)]


class NodeSet(ctypes.Structure):  # xmlNodeSet
    _fields_ = [("nodeNr", ctypes.c_int), ("nodeMax", ctypes.c_int),
                ("nodeTab", ctypes.c_void_p)]


def node_count(xpath_object):
    nodes = XPathObject.from_address(xpath_object).nodesetval
    return NodeSet.from_address(nodes).nodeNr if nodes else 0


def canonicalize(path, selection, exclusive, comments, prefixes):
    doc = _lib.xmlReadFile(path.encode(), None, XML_PARSE_NOENT | XML_PARSE_DTDATTR)
    assert doc, "libxml2 cannot parse " + path
    ctx = _lib.xmlXPathNewContext(doc)
    target = element_xpath(selection)
    selected = None
    nodes = None
    if target is not None:
        found = _lib.xmlXPathEvalExpression(target.encode(), ctx)
        count = node_count(found)
        _lib.xmlXPathFreeObject(found)
        assert count == 1, "%s selects %d elements in %s" % (selection, count, path)
        selected = _lib.xmlXPathEvalExpression(
            ("(//. | //@* | //namespace::*)[ancestor-or-self::*[count(. | %s) = 1]]"
             % target).encode(), ctx)
        nodes = XPathObject.from_address(selected).nodesetval
    prefix_array = None
    if prefixes:
        prefix_array = (ctypes.c_char_p * (len(prefixes) + 1))(
            *[p.encode() for p in prefixes], None)
    out = ctypes.c_void_p()
    size = _lib.xmlC14NDocDumpMemory(doc, nodes,
                                     XML_C14N_EXCLUSIVE_1_0 if exclusive else XML_C14N_1_0,
                                     prefix_array, 1 if comments else 0, ctypes.byref(out))
    assert size >= 0, "libxml2 failed to canonicalize %s %s" % (path, selection)
    result = ctypes.string_at(out, size)  # the buffer is left to the process exit
    if selected:
        _lib.xmlXPathFreeObject(selected)
    _lib.xmlXPathFreeContext(ctx)
    _lib.xmlFreeDoc(doc)
    return result


def main():
    os.makedirs("subsets", exist_ok=True)
    rows = ["input\tselection\tmode\twith_comments\tinclusive_prefixes\texpected"]
    for number, (doc, selection, mode, comments, prefixes) in enumerate(CASES, 1):
        path = os.path.join("docs", doc)
        exclusive = mode == "exclusive"
        assert exclusive or not prefixes, "prefixes apply to exclusive canonicalization only"
        result = canonicalize(path, selection, exclusive, comments, prefixes.split())
        name = "%02d-%s-%s-%s%s.c14n" % (number, doc[:2], selection.replace("=", ""), mode[:3],
                                          "-comments" if comments else "")
        with open(os.path.join("subsets", name), "wb") as out:
            out.write(result)
        rows.append("\t".join([doc, selection, mode, "1" if comments else "0", prefixes,
                               "subsets/" + name]))
    with open("subsets.tsv", "w") as manifest:
        manifest.write("\n".join(rows) + "\n")


if __name__ == "__main__":
    main()
