// A handle on one node of a parsed XML document. Handles share ownership of the document, so a
// node obtained from a lookup stays usable after the handle it came from is released. Every
// lookup that returns a ClsXml returns a new reference (release it with decRefCount) or null
// when there is no such node; no operation throws.
//
// Tags and tag paths: "ds:Signature" matches that qualified name exactly, "*:Signature" the
// local name under any prefix, "*" any element; "a|b" is the b child of the a child; a step
// ending in "[i]" picks the like-tagged child whose index (from 0) is this handle's I value.
#pragma once

#include <memory>

#include "host/log/ExtPtrArrayRc.h"
#include "host/log/LogBase.h"
#include "host/log/RefCountedObject.h"
#include "host/text/StringBuffer.h"
#include "host/text/XString.h"
#include "host/xml/detail/XmlDom.h"

namespace xmldsig {

class ClsXml : public RefCountedObject {
  public:
    // An empty document (no root element yet); null when memory runs out.
    static ClsXml* createNewCls();
    ~ClsXml() override;

    // --- loading and serializing ---

    // Parses text as a whole document; this handle then stands on its root element. With
    // trimContent, the text content read from this document (get_Content, getContentSb,
    // getChildContentUtf8) is returned without leading and trailing XML white space. On
    // malformed XML logs the parser's message with byte offset, line and column, leaves this
    // handle on an empty document and returns false.
    bool loadXml(const StringBuffer& text, bool trimContent, LogBase& log);

    // Appends this node and its subtree as compact XML (see detail/XmlSerialize.h). With
    // withDeclaration an XML declaration goes first.
    bool getXml(bool withDeclaration, StringBuffer& out, LogBase& log) const;
    // The same without declaration, replacing out's content.
    bool GetXml(XString& out) const;

    // --- searches over the document or the subtree ---

    // Appends a new reference to every signature element of the whole document, in document
    // order: "Signature" in the XML Signature namespace (any prefix) and EBICS "AuthSignature".
    bool findSignatures(ExtPtrArrayRc& out, LogBase& log) const;

    // The first descendant of this node in document order whose tag matches; with after (a
    // node in this subtree) the search continues after it.
    ClsXml* searchForTag(const ClsXml* after, const char* tag) const;

    // As searchForTag, for an element that also carries an attribute matching attrName whose
    // value matches valuePattern ('*' stands for any run). caseInsensitive folds ASCII letters
    // of the value comparison.
    ClsXml* searchForAttribute(const ClsXml* after, const char* tag, const char* attrName,
                               bool caseInsensitive, const char* valuePattern) const;

    // --- children ---

    ClsXml* getChildWithTagUtf8(const char* tagPath) const;  // the path's target
    ClsXml* findChild(const char* tagPath) const;            // same as getChildWithTagUtf8
    ClsXml* getNthChildWithTagUtf8(const char* tag, int index, LogBase& log) const;
    int numChildrenHavingTagUtf8(const char* tag, LogBase& log) const;
    int get_NumChildren() const;        // child elements
    ClsXml* getChild(int index) const;  // index-th child element, from 0
    ClsXml* GetChild(int index) const;
    bool getChild2(int index);  // moves this handle to its index-th child element

    // --- attributes and content (out is replaced) ---

    bool getAttrValue(const char* name, StringBuffer& out) const;  // false when absent
    bool HasAttribute(const XString& name) const;
    bool getChildAttrValue(const char* tagPath, const char* attrName, StringBuffer& out) const;
    // The content of the element the path reaches; with append, out keeps its text.
    bool getChildContentUtf8(const char* tagPath, StringBuffer& out, bool append) const;
    // This element's own text and CDATA, entities decoded; comments, processing instructions
    // and the text of child elements are left out.
    void get_Content(XString& out) const;
    void getContentSb(StringBuffer& out) const;
    void getTagNamespace(StringBuffer& out) const;  // prefix of the tag, "" when unprefixed
    void getTag(StringBuffer& out) const;           // the qualified tag as written

    void put_I(int i) { m_i = i; }
    int get_I() const { return m_i; }

    // --- for our own code ---

    const dom::Node* node() const { return m_node; }
    const std::shared_ptr<dom::Document>& document() const { return m_doc; }
    // A new handle on n, which must belong to this handle's document; null otherwise.
    ClsXml* handleFor(const dom::Node* n) const;

  private:
    ClsXml(std::shared_ptr<dom::Document> doc, const dom::Node* node, bool trimContent);
    ClsXml* newHandle(const dom::Node* n) const;  // no ownership check
    bool inSubtree(const dom::Node* n) const;

    std::shared_ptr<dom::Document> m_doc;
    const dom::Node* m_node = nullptr;
    bool m_trimContent = false;
    int m_i = 0;
};

}  // namespace xmldsig
