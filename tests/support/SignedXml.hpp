#pragma once
// Documents signed in-process for verification tests: by xml-security-c with our CryptoAPI
// key classes, or, where xml-security-c cannot sign what a test needs (a transform this
// build cannot execute), by computing the HMAC of a hand-written canonical SignedInfo.
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <xercesc/util/BinMemInputStream.hpp>
#include <xsec/dsig/DSIGConstants.hpp>
#include <xsec/dsig/DSIGReference.hpp>
#include <xsec/dsig/DSIGSignature.hpp>
#include <xsec/enc/XSECCryptoHash.hpp>
#include <xsec/framework/XSECProvider.hpp>
#include <xsec/framework/XSECURIResolver.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "crypto/WinCAPICryptoKeyHMAC.hpp"
#include "document/Base64.hpp"
#include "support/XsecDocument.hpp"

namespace testing_support {

constexpr char kPayload[] = "<Document xmlns=\"urn:talvoran:test\"><Data Id=\"data\">payload</Data></Document>";

// Serves fixed bytes per URI while xml-security-c signs; a missing URI is the key L"".
class MapResolver : public XSECURIResolver {
public:
    explicit MapResolver(std::map<std::wstring, std::string> data) : data_(std::move(data)) {}
    xercesc::BinInputStream* resolveURI(const XMLCh* uri) override {
        const auto found = data_.find(uri != nullptr ? std::wstring(uri) : std::wstring());
        if (found == data_.end()) return nullptr;
        static const XMLByte kNothing = 0;
        const std::string& bytes = found->second;
        return new xercesc::BinMemInputStream(
            bytes.empty() ? &kNothing : reinterpret_cast<const XMLByte*>(bytes.data()), bytes.size(),
            xercesc::BinMemInputStream::BufOpt_Copy);
    }
    void setBaseURI(const XMLCh*) override {}
    XSECURIResolver* clone() override { return new MapResolver(data_); }

private:
    std::map<std::wstring, std::string> data_;
};

struct SignRequest {
    const wchar_t* method = DSIGConstants::s_unicodeStrURIHMAC_SHA256;
    // One Reference per entry; nullptr makes a Reference without URI; "" gets the
    // enveloped-signature transform.
    std::vector<const wchar_t*> uris{L""};
    std::map<std::wstring, std::string> external;  // bytes of the references that are not same-document
    // Called before signing, to add KeyInfo content.
    std::function<void(DSIGSignature*)> keyInfo;
};

// Signs kPayload with `key` (adopted) as the request says and returns the document.
inline std::string SignPayload(XSECCryptoKey* key, const SignRequest& request) {
    std::unique_ptr<XSECCryptoKey> owned(key);
    XsecDocument doc(kPayload);
    XSECProvider provider;
    DSIGSignature* sig = provider.newSignature();
    doc.Dom()->getDocumentElement()->appendChild(
        sig->createBlankSignature(doc.Dom(), DSIGConstants::s_unicodeStrURIC14N_NOC, request.method));
    sig->setIdByAttributeName(true);
    for (const wchar_t* uri : request.uris) {
        DSIGReference* ref = sig->createReference(uri, DSIGConstants::s_unicodeStrURISHA256);
        if (uri != nullptr && *uri == L'\0') ref->appendEnvelopedSignatureTransform();
    }
    MapResolver resolver(request.external);
    sig->setURIResolver(&resolver);
    if (request.keyInfo) request.keyInfo(sig);
    sig->setSigningKey(owned.release());
    sig->sign();
    provider.releaseSignature(sig);
    return doc.Xml();
}

inline WinCAPICryptoKeyHMAC* HmacKey(const std::string& secret) {
    auto key = std::make_unique<WinCAPICryptoKeyHMAC>(0);
    key->setKey(reinterpret_cast<unsigned char*>(const_cast<char*>(secret.data())),
                static_cast<unsigned int>(secret.size()));
    return key.release();
}

inline std::vector<BYTE> HmacSha256(const std::string& secret, const std::string& data) {
    std::unique_ptr<XSECCryptoHash> hmac(XSECPlatformUtils::g_cryptoProvider->HMAC(XSECCryptoHash::HASH_SHA256));
    std::unique_ptr<WinCAPICryptoKeyHMAC> key(HmacKey(secret));
    hmac->setKey(key.get());
    hmac->hash(reinterpret_cast<unsigned char*>(const_cast<char*>(data.data())),
               static_cast<unsigned int>(data.size()));
    unsigned char mac[64];
    const unsigned int length = hmac->finish(mac, sizeof mac);
    return std::vector<BYTE>(mac, mac + length);
}

// How a hand-made HMAC signature value is cut: the whole MAC (bits 0), or the leftmost
// `bits` with `lastByte` applied to the last byte kept (for partial-byte cases).
struct HmacCut {
    unsigned bits = 0;
    std::function<BYTE(BYTE)> lastByte = [](BYTE b) { return b; };
};

// An HMAC-SHA256 signature over kPayload whose SignedInfo holds `references` exactly as
// given (written in canonical form: no whitespace, empty elements with end tags), and
// `objects` after its SignatureValue.
inline std::string HandSignedHmac(const std::string& secret, const std::string& references, const HmacCut& cut = {},
                                  const std::string& objects = "") {
    const std::string outputLength =
        cut.bits != 0 ? "<HMACOutputLength>" + std::to_string(cut.bits) + "</HMACOutputLength>" : "";
    const std::string inner =
        "<CanonicalizationMethod "
        "Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"></CanonicalizationMethod>"
        "<SignatureMethod Algorithm=\"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256\">" +
        outputLength + "</SignatureMethod>" + references;
    const std::string canonical = "<SignedInfo xmlns=\"http://www.w3.org/2000/09/xmldsig#\">" + inner + "</SignedInfo>";
    std::vector<BYTE> mac = HmacSha256(secret, canonical);
    if (cut.bits != 0) {
        mac.resize((cut.bits + 7) / 8);
        mac.back() = cut.lastByte(mac.back());
    }
    std::string value;
    base64::BinToBase64(mac, value);
    std::string doc = kPayload;
    doc.insert(doc.rfind("</Document>"), "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo>" +
                                             inner + "</SignedInfo><SignatureValue>" + value + "</SignatureValue>" +
                                             objects + "</Signature>");
    return doc;
}

// The document with the first `from` after `anchor` replaced by `to`.
inline std::string Replaced(std::string xml, const std::string& anchor, const std::string& from,
                            const std::string& to) {
    const size_t at = xml.find(from, xml.find(anchor));
    if (at == std::string::npos) throw std::runtime_error("Replaced: " + from + " not found after " + anchor);
    return xml.replace(at, from.size(), to);
}

}  // namespace testing_support
