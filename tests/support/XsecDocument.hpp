#pragma once
// Test helpers at the xml-security-c level: a parsed document whose Signature is loaded,
// and a guard that turns xml-security-c's exceptions into test failures with their text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <xercesc/framework/MemBufInputSource.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>
#include <xsec/framework/XSECProvider.hpp>

#include "base/TextConvert.hpp"
#include "document/DsigDom.hpp"
#include "document/XmlBlob.hpp"

namespace testing_support {

struct XsecDocument {
    xercesc::XercesDOMParser parser;
    XSECProvider provider;
    DSIGSignature* sig = nullptr;

    explicit XsecDocument(const std::string& xml) {
        parser.setDoNamespaces(true);
        xercesc::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), L"doc");
        parser.parse(source);
    }
    ~XsecDocument() {
        if (sig != nullptr) provider.releaseSignature(sig);
    }
    xercesc::DOMDocument* Dom() { return parser.getDocument(); }
    // Loads the first Signature, depth first; same-document references by Id attribute.
    DSIGSignature* Load() {
        sig = provider.newSignatureFromDOM(Dom(), Find(Dom()->getDocumentElement()));
        sig->setIdByAttributeName(true);
        sig->load();
        return sig;
    }
    std::string Xml() {
        std::vector<BYTE> bytes;
        xmlBlob::EncodeNode(Dom(), false, CRYPT_XML_CHARSET_UTF8, bytes);
        return std::string(bytes.begin(), bytes.end());
    }
    static xercesc::DOMElement* Find(xercesc::DOMElement* e) {
        if (dsigDom::IsDsig(e, L"Signature")) return e;
        for (xercesc::DOMElement* c : dsigDom::Children(e)) {
            if (xercesc::DOMElement* found = Find(c)) return found;
        }
        return nullptr;
    }
};

template <class Body>
void XsecGuarded(Body&& body) {
    try {
        body();
    } catch (const XSECException& e) {
        ADD_FAILURE() << "XSECException " << e.getType() << ": " << textConvert::ToAnsi(e.getMsg());
    } catch (const XSECCryptoException& e) {
        ADD_FAILURE() << "XSECCryptoException " << e.getType() << ": " << e.getMsg();
    }
}

}  // namespace testing_support
