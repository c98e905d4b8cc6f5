#include "document/ParseGuard.hpp"

#include <string>

#include <xercesc/framework/XMLAttr.hpp>
#include <xercesc/framework/XMLErrorCodes.hpp>
#include <xercesc/internal/XMLScanner.hpp>
#include <xercesc/util/SecurityManager.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xercesc/validators/DTD/DTDEntityDecl.hpp>

#include "base/CryptXmlException.hpp"
#include "base/TextConvert.hpp"

namespace parseGuard {
namespace {

namespace xc = XERCES_CPP_NAMESPACE;

// Xerces keeps a parser's scanner protected; naming the accessor through a derived class is
// the language's way to reach it for any parser object. The guard needs the scanner to put
// itself between it and the parser's handlers without the callers' parsers being a
// special class.
struct ScannerAccess : xc::XercesDOMParser {
    static xc::XMLScanner& Of(xc::AbstractDOMParser& parser) {
        xc::XMLScanner* (xc::AbstractDOMParser::*get)() const = &ScannerAccess::getScanner;
        return *(parser.*get)();
    }
};

// One manager for every parse: the scanner reads the limit when a scan starts and never
// writes to it.
xc::SecurityManager& ExpansionLimit() {
    static xc::SecurityManager* const manager = [] {
        static xc::SecurityManager instance;
        instance.setEntityExpansionLimit(kMaxEntityExpansions);
        return &instance;
    }();
    return *manager;
}

// Nothing is validated, no grammar is loaded, no entity is resolved by Xerces on its own.
void Configure(xc::XercesDOMParser& parser) {
    parser.setValidationScheme(xc::XercesDOMParser::Val_Never);
    parser.setDoSchema(false);
    parser.setLoadSchema(false);
    parser.setDoXInclude(false);
    parser.setLoadExternalDTD(false);
    parser.setDisableDefaultEntityResolution(true);
    parser.setSecurityManager(&ExpansionLimit());
}

bool HasText(const XMLCh* text) { return text != nullptr && *text != 0; }

std::string Number(unsigned long long value) { return std::to_string(value); }

}  // namespace

void Parse(xc::XercesDOMParser& parser, const xc::InputSource& source, const char* functionName) {
    Configure(parser);
    Guard guard(parser, functionName);
    parser.parse(source);
    if (guard.ExpansionLimitReached()) {
        guard.Refuse(("more than " + Number(kMaxEntityExpansions) + " entity references expanded.").c_str());
    }
}

Guard::Guard(xc::XercesDOMParser& parser, const char* functionName)
    : parser_(parser),
      scanner_(ScannerAccess::Of(parser)),
      functionName_(functionName),
      nextResolver_(parser.getXMLEntityResolver()),
      nextSaxResolver_(parser.getEntityResolver()),
      nextDoc_(scanner_.getDocHandler()),
      nextDocType_(scanner_.getDocTypeHandler()),
      nextReporter_(scanner_.getErrorReporter()) {
    // The validators take the reporter when a scan starts: the next scan hands them the one
    // put back below.
    scanner_.setDocHandler(this);
    scanner_.setDocTypeHandler(this);
    scanner_.setErrorReporter(this);
    parser_.setXMLEntityResolver(this);
}

Guard::~Guard() {
    scanner_.setDocHandler(nextDoc_);
    scanner_.setDocTypeHandler(nextDocType_);
    scanner_.setErrorReporter(nextReporter_);
    if (nextResolver_ != nullptr || nextSaxResolver_ == nullptr) {
        parser_.setXMLEntityResolver(nextResolver_);
    } else {
        parser_.setEntityResolver(nextSaxResolver_);
    }
}

void Guard::Refuse(const char* detail) const { errors::Raise<hr::kInvalidFormat>(functionName_, detail); }

// The checks.

void Guard::Deeper() {
    if (depth_ >= kMaxDepth) Refuse(("the document nests deeper than " + Number(kMaxDepth) + " levels.").c_str());
    ++depth_;
}

void Guard::startElement(const xc::XMLElementDecl& elemDecl, unsigned int uriId, const XMLCh* prefixName,
                         const xc::RefVectorOf<xc::XMLAttr>& attrList, XMLSize_t attrCount, bool isEmpty, bool isRoot) {
    Deeper();
    if (isEmpty) --depth_;  // no endElement call follows
    for (XMLSize_t i = 0; i < attrCount; ++i) {
        const xc::XMLAttr* attr = attrList.elementAt(i);
        if (attr->getSpecified()) continue;
        defaulted_ += xc::XMLString::stringLen(attr->getValue());
        if (defaulted_ > kMaxDefaultedCharacters) {
            Refuse(("attribute defaults add more than " + Number(kMaxDefaultedCharacters) + " characters.").c_str());
        }
    }
    nextDoc_->startElement(elemDecl, uriId, prefixName, attrList, attrCount, isEmpty, isRoot);
}

void Guard::endElement(const xc::XMLElementDecl& elemDecl, unsigned int uriId, bool isRoot, const XMLCh* prefixName) {
    if (depth_ > 0) --depth_;
    nextDoc_->endElement(elemDecl, uriId, isRoot, prefixName);
}

// An entity referenced in content becomes a node that holds its expansion: a level like an
// element (a chain of entities that reference each other nests without any element).
void Guard::startEntityReference(const xc::XMLEntityDecl& entDecl) {
    Deeper();
    nextDoc_->startEntityReference(entDecl);
}

void Guard::endEntityReference(const xc::XMLEntityDecl& entDecl) {
    if (depth_ > 0) --depth_;
    nextDoc_->endEntityReference(entDecl);
}

void Guard::doctypeDecl(const xc::DTDElementDecl& elemDecl, const XMLCh* publicId, const XMLCh* systemId,
                        bool hasIntSubset, bool hasExtSubset) {
    if (hasExtSubset || HasText(systemId)) Refuse("the document names an external DTD, which is not read.");
    nextDocType_->doctypeDecl(elemDecl, publicId, systemId, hasIntSubset, hasExtSubset);
}

// Refused at the declaration, used or not: what the document needs from outside is not read,
// and a parameter entity has no use in a signed document but to build declarations.
void Guard::entityDecl(const xc::DTDEntityDecl& entityDecl, bool isPEDecl, bool isIgnored) {
    if (isPEDecl) Refuse("the DTD declares a parameter entity.");
    if (entityDecl.isExternal() || entityDecl.isUnparsed()) {
        Refuse("the DTD declares an external entity, which is not read.");
    }
    if (entityDecl.getValueLen() > kMaxEntityLength) {
        Refuse(("the DTD declares an entity longer than " + Number(kMaxEntityLength) + " characters.").c_str());
    }
    nextDocType_->entityDecl(entityDecl, isPEDecl, isIgnored);
}

xc::InputSource* Guard::resolveEntity(xc::XMLResourceIdentifier* resourceIdentifier) {
    const XMLCh* id = resourceIdentifier != nullptr ? resourceIdentifier->getSystemId() : nullptr;
    Refuse(("an outside resource was asked for and not read: " + textConvert::ToAnsiOrNull(id)).c_str());
}

void Guard::error(unsigned int errCode, const XMLCh* errDomain, ErrTypes type, const XMLCh* errorText,
                  const XMLCh* systemId, const XMLCh* publicId, XMLFileLoc lineNum, XMLFileLoc colNum) {
    if (errCode == xc::XMLErrs::EntityExpansionLimitExceeded &&
        xc::XMLString::equals(errDomain, xc::XMLUni::fgXMLErrDomain)) {
        expansionLimitReached_ = true;
    }
    if (nextReporter_ != nullptr) {
        nextReporter_->error(errCode, errDomain, type, errorText, systemId, publicId, lineNum, colNum);
    }
}

void Guard::resetErrors() {
    if (nextReporter_ != nullptr) nextReporter_->resetErrors();
}

// The rest passes on unchanged.

void Guard::docCharacters(const XMLCh* chars, XMLSize_t length, bool cdataSection) {
    nextDoc_->docCharacters(chars, length, cdataSection);
}
void Guard::docComment(const XMLCh* comment) { nextDoc_->docComment(comment); }
void Guard::docPI(const XMLCh* target, const XMLCh* data) { nextDoc_->docPI(target, data); }
void Guard::endDocument() { nextDoc_->endDocument(); }
void Guard::ignorableWhitespace(const XMLCh* chars, XMLSize_t length, bool cdataSection) {
    nextDoc_->ignorableWhitespace(chars, length, cdataSection);
}
void Guard::resetDocument() {
    depth_ = 0;
    defaulted_ = 0;
    nextDoc_->resetDocument();
}
void Guard::startDocument() { nextDoc_->startDocument(); }
void Guard::XMLDecl(const XMLCh* versionStr, const XMLCh* encodingStr, const XMLCh* standaloneStr,
                    const XMLCh* autoEncodingStr) {
    nextDoc_->XMLDecl(versionStr, encodingStr, standaloneStr, autoEncodingStr);
}

void Guard::attDef(const xc::DTDElementDecl& elemDecl, const xc::DTDAttDef& attDef, bool ignoring) {
    nextDocType_->attDef(elemDecl, attDef, ignoring);
}
void Guard::doctypeComment(const XMLCh* comment) { nextDocType_->doctypeComment(comment); }
void Guard::doctypePI(const XMLCh* target, const XMLCh* data) { nextDocType_->doctypePI(target, data); }
void Guard::doctypeWhitespace(const XMLCh* chars, XMLSize_t length) { nextDocType_->doctypeWhitespace(chars, length); }
void Guard::elementDecl(const xc::DTDElementDecl& decl, bool isIgnored) { nextDocType_->elementDecl(decl, isIgnored); }
void Guard::endAttList(const xc::DTDElementDecl& elemDecl) { nextDocType_->endAttList(elemDecl); }
void Guard::endIntSubset() { nextDocType_->endIntSubset(); }
void Guard::endExtSubset() { nextDocType_->endExtSubset(); }
void Guard::resetDocType() { nextDocType_->resetDocType(); }
void Guard::notationDecl(const xc::XMLNotationDecl& notDecl, bool isIgnored) {
    nextDocType_->notationDecl(notDecl, isIgnored);
}
void Guard::startAttList(const xc::DTDElementDecl& elemDecl) { nextDocType_->startAttList(elemDecl); }
void Guard::startIntSubset() { nextDocType_->startIntSubset(); }
void Guard::startExtSubset() { nextDocType_->startExtSubset(); }
void Guard::TextDecl(const XMLCh* versionStr, const XMLCh* encodingStr) {
    nextDocType_->TextDecl(versionStr, encodingStr);
}

}  // namespace parseGuard
