#pragma once
#include <xercesc/framework/XMLDocumentHandler.hpp>
#include <xercesc/framework/XMLErrorReporter.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/XMLEntityResolver.hpp>
#include <xercesc/validators/DTD/DocTypeHandler.hpp>

// What a parse of caller XML may cost and reach. Every document the library parses comes
// from its caller, who may have it from anyone: nothing outside the blob is ever read, and
// time, memory and nesting stay proportional to the blob's own size.
namespace parseGuard {

// Nesting deeper is refused (elements, and entity references, which hold their expansion as
// a node of their own). Parsing and canonicalisation are loops, but several later steps
// recurse once per level: Xerces' serialiser and deep import take 192 bytes of stack a
// level, xml-security-c's search for an Id 112 (measured with tests/stress/hostile). At 1,000
// levels that is under 200 KB, a fifth of the 1 MB a Windows thread has by default; signed
// documents met in practice nest a few dozen levels.
constexpr unsigned kMaxDepth = 1000;
// Entity expansions per document (Xerces' own counter, nested ones included) and the longest
// replacement text an internal entity may have: together they bound what entities add to a
// document to 10 million characters, whatever it nests.
constexpr unsigned kMaxEntityExpansions = 10000;
constexpr unsigned kMaxEntityLength = 1000;
// Characters that attribute defaults of the internal DTD subset may add to a document.
constexpr unsigned long long kMaxDefaultedCharacters = 10000000;

// Sets parser up for caller XML and parses source with it. Refusals raise
// WS_E_INVALID_FORMAT under functionName with a detail that names the reason: a document
// that names an external DTD, declares an external or a parameter entity, an entity longer
// than kMaxEntityLength, expands more than kMaxEntityExpansions entities, adds more than
// kMaxDefaultedCharacters by attribute defaults or nests deeper than kMaxDepth. Anything
// else is left to the caller: Xerces' own errors are in parser.getErrorCount().
void Parse(xercesc::XercesDOMParser& parser, const xercesc::InputSource& source, const char* functionName);

// Watches one parse from between the scanner and the parser's own handlers, which it calls
// on for everything, and answers every request for an outside resource with a refusal;
// refuses by throwing from inside the scan. It keeps the handlers it found and puts them
// back when it goes, so that guards may nest.
class Guard final : public xercesc::XMLDocumentHandler,
                    public xercesc::DocTypeHandler,
                    public xercesc::XMLErrorReporter,
                    public xercesc::XMLEntityResolver {
public:
    Guard(xercesc::XercesDOMParser& parser, const char* functionName);
    ~Guard() override;
    Guard(const Guard&) = delete;
    Guard& operator=(const Guard&) = delete;

    // True when Xerces stopped the scan at the entity expansion limit.
    bool ExpansionLimitReached() const noexcept { return expansionLimitReached_; }
    [[noreturn]] void Refuse(const char* detail) const;

    // XMLDocumentHandler
    void docCharacters(const XMLCh* chars, XMLSize_t length, bool cdataSection) override;
    void docComment(const XMLCh* comment) override;
    void docPI(const XMLCh* target, const XMLCh* data) override;
    void endDocument() override;
    void endElement(const xercesc::XMLElementDecl& elemDecl, unsigned int uriId, bool isRoot,
                    const XMLCh* prefixName) override;
    void endEntityReference(const xercesc::XMLEntityDecl& entDecl) override;
    void ignorableWhitespace(const XMLCh* chars, XMLSize_t length, bool cdataSection) override;
    void resetDocument() override;
    void startDocument() override;
    void startElement(const xercesc::XMLElementDecl& elemDecl, unsigned int uriId, const XMLCh* prefixName,
                      const xercesc::RefVectorOf<xercesc::XMLAttr>& attrList, XMLSize_t attrCount, bool isEmpty,
                      bool isRoot) override;
    void startEntityReference(const xercesc::XMLEntityDecl& entDecl) override;
    void XMLDecl(const XMLCh* versionStr, const XMLCh* encodingStr, const XMLCh* standaloneStr,
                 const XMLCh* autoEncodingStr) override;

    // DocTypeHandler
    void attDef(const xercesc::DTDElementDecl& elemDecl, const xercesc::DTDAttDef& attDef, bool ignoring) override;
    void doctypeComment(const XMLCh* comment) override;
    void doctypeDecl(const xercesc::DTDElementDecl& elemDecl, const XMLCh* publicId, const XMLCh* systemId,
                     bool hasIntSubset, bool hasExtSubset) override;
    void doctypePI(const XMLCh* target, const XMLCh* data) override;
    void doctypeWhitespace(const XMLCh* chars, XMLSize_t length) override;
    void elementDecl(const xercesc::DTDElementDecl& decl, bool isIgnored) override;
    void endAttList(const xercesc::DTDElementDecl& elemDecl) override;
    void endIntSubset() override;
    void endExtSubset() override;
    void entityDecl(const xercesc::DTDEntityDecl& entityDecl, bool isPEDecl, bool isIgnored) override;
    void resetDocType() override;
    void notationDecl(const xercesc::XMLNotationDecl& notDecl, bool isIgnored) override;
    void startAttList(const xercesc::DTDElementDecl& elemDecl) override;
    void startIntSubset() override;
    void startExtSubset() override;
    void TextDecl(const XMLCh* versionStr, const XMLCh* encodingStr) override;

    // XMLErrorReporter
    void error(unsigned int errCode, const XMLCh* errDomain, ErrTypes type, const XMLCh* errorText,
               const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc lineNum, XMLFileLoc colNum) override;
    void resetErrors() override;

    // XMLEntityResolver
    xercesc::InputSource* resolveEntity(xercesc::XMLResourceIdentifier* resourceIdentifier) override;

private:
    void Deeper();

    xercesc::XercesDOMParser& parser_;
    xercesc::XMLScanner& scanner_;
    const char* functionName_;
    xercesc::XMLEntityResolver* nextResolver_;
    xercesc::EntityResolver* nextSaxResolver_;
    xercesc::XMLDocumentHandler* nextDoc_;
    xercesc::DocTypeHandler* nextDocType_;
    xercesc::XMLErrorReporter* nextReporter_;
    unsigned depth_ = 0;
    unsigned long long defaulted_ = 0;
    bool expansionLimitReached_ = false;
};

}  // namespace parseGuard
