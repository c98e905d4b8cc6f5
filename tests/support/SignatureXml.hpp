#pragma once
#include <string>

// Builds XML-DSig documents for tests, piece by piece; defaults give a well-formed RSA-SHA1
// signature with one same-document reference.
namespace testing_support {

struct SigParts {
    std::string id;  // Id attribute of Signature ("" = none)
    std::string canonicalization = "http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
    std::string signatureMethod = "http://www.w3.org/2000/09/xmldsig#rsa-sha1";
    std::string references = Reference("#obj1");
    std::string signatureValue = "c2lnbmF0dXJlIGJ5dGVz";  // "signature bytes"
    bool withSignatureValue = true;
    std::string keyInfo;  // whole KeyInfo element, or ""
    std::string objects = "<Object Id=\"obj1\">payload</Object>";

    static std::string Reference(const std::string& uri, const std::string& transforms = "",
                                 const std::string& attributes = "",
                                 const std::string& digestMethod = "http://www.w3.org/2000/09/xmldsig#sha1",
                                 const std::string& digestValue = "AAECAwQFBgcICQoLDA0ODxAREhM=") {
        return "<Reference URI=\"" + uri + "\"" + attributes + ">" +
               (transforms.empty() ? "" : "<Transforms>" + transforms + "</Transforms>") +
               "<DigestMethod Algorithm=\"" + digestMethod + "\"/><DigestValue>" + digestValue +
               "</DigestValue></Reference>";
    }

    std::string Xml() const {
        return "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"" + (id.empty() ? "" : " Id=\"" + id + "\"") +
               "><SignedInfo><CanonicalizationMethod Algorithm=\"" + canonicalization +
               "\"/><SignatureMethod Algorithm=\"" + signatureMethod + "\"/>" + references + "</SignedInfo>" +
               (withSignatureValue ? "<SignatureValue>" + signatureValue + "</SignatureValue>" : "") + keyInfo +
               objects + "</Signature>";
    }
};

inline std::string Transform(const std::string& algorithm, const std::string& body = "") {
    return "<Transform Algorithm=\"" + algorithm + "\">" + body + "</Transform>";
}

inline std::string Document(const std::string& inner) { return "<root xmlns:x=\"urn:x\">" + inner + "</root>"; }

}  // namespace testing_support
