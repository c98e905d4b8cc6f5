#include "keys/gost2001/GostKeyValueImport.hpp"

#include <cstdio>
#include <memory>

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/framework/XSECEnv.hpp>

#include "base/CryptXmlException.hpp"
#include "base/Trace.hpp"
#include "base/XsecErrors.hpp"
#include "crypto/CapiHandles.hpp"
#include "crypto/Ids.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "crypto/XmlStack.hpp"
#include "document/XmlBlob.hpp"

namespace gostKeyValueImport {
namespace {

constexpr char kRoutine[] = "ImportGostKey";

bool IsEmpty(const XMLCh* text) { return text == nullptr || *text == 0; }

[[noreturn]] void RaiseProviderFailure(const char* format, DWORD code) {
    char message[200];
    std::snprintf(message, sizeof(message), format, static_cast<unsigned>(code));
    errors::RaiseFailure(kRoutine, message);
}

// Type 2 first; type 75 only when type 2 is defined but has no provider behind it. When
// both fail, the message names the first failure, which is the one that explains why
// type 75 was tried.
crypto::ProvHandle AcquireGostProvider() {
    crypto::ProvHandle prov;
    if (CryptAcquireContextW(prov.put(), nullptr, nullptr, ids::kProvGostLegacy, CRYPT_VERIFYCONTEXT)) return prov;
    const DWORD firstError = GetLastError();
    if (firstError != static_cast<DWORD>(NTE_KEYSET_NOT_DEF)) {
        RaiseProviderFailure("CryptAcquireContext(KRM_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x%x", firstError);
    }
    trace::TraceA(kRoutine, "CryptAcquireContext() returns NTE_KEYSET_NOT_DEF on (KRM_PROV_TYPE, CRYPT_VERIFYCONTEXT)");
    trace::TraceA(kRoutine, "Try to call CryptAcquireContext() with (CPRO_PROV_TYPE, CRYPT_VERIFYCONTEXT)");
    if (CryptAcquireContextW(prov.put(), nullptr, nullptr, ids::kProvGost2001, CRYPT_VERIFYCONTEXT)) return prov;
    RaiseProviderFailure("CryptAcquireContext(CPRO_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x%x", firstError);
}

void CheckBlob(const CRYPT_XML_BLOB& blob) {
    if (blob.pbData == nullptr || blob.cbData == 0) {
        errors::Raise<hr::kInvalidArg>(kRoutine, "NULL == keyValue.pbData || 0 == keyValue.cbData");
    }
    if (blob.cbData > CRYPT_XML_BLOB_MAX) {
        errors::Raise<hr::kLarge>(kRoutine, "the length of keyValue xml is exceeded CRYPT_XML_BLOB_MAX.");
    }
}

// A SubjectPublicKeyInfo carries its parameter sets inside the key; the other forms must
// name them in the markup.
void CheckKeyValue(const DSIGKeyInfoValue& value) {
    if (IsEmpty(value.getGostPubKey())) errors::RaiseFailure(kRoutine, "pubkey is empty.");
    if (IsEmpty(value.getGostPubKeyParamSet()) && value.getGostKeyValueForm() != DSIGKeyInfoValue::GOSTKEYVALUE_SPKI) {
        errors::RaiseFailure(kRoutine, "pubKeyParamSet is empty.");
    }
}

HCRYPTKEY ImportDuplicate(HCRYPTPROV prov, const DSIGKeyInfoValue& value) {
    WinCAPICryptoKeyGOST key(prov);
    key.setPublicKeyBase64(value.getGostPubKey());
    if (!IsEmpty(value.getGostPubKeyParamSet())) key.setPublicKeyParamSetOID(value.getGostPubKeyParamSet());
    if (value.getGostDigestParamSet() != nullptr) key.setDigestParamSetOID(value.getGostDigestParamSet());
    if (value.getGostEncryptionParamSet() != nullptr) key.setEncryptionParamSetOID(value.getGostEncryptionParamSet());
    HCRYPTKEY duplicate = 0;
    if (!CryptDuplicateKey(key.importKey(), nullptr, 0, &duplicate)) {
        errors::RaiseFailure(kRoutine, "CryptDuplicateKey() failed.");
    }
    return duplicate;
}

void ImportSteps(const CRYPT_XML_BLOB& blob, HCRYPTPROV* phProv, HCRYPTKEY* phKey) {
    CheckBlob(blob);
    // Parsing needs Xerces and xml-security-c running; an application may import a key
    // before it has opened any document.
    xmlStack::Ensure();
    xercesc::XercesDOMParser parser;
    parser.setValidationScheme(xercesc::XercesDOMParser::Val_Never);
    parser.setDoNamespaces(true);
    xercesc::DOMElement* root = xmlBlob::CreateDomStructure(parser, blob);
    const auto env = std::make_shared<XSECEnv>(root->getOwnerDocument());
    DSIGKeyInfoValue value(env.get(), root);
    value.load();
    CheckKeyValue(value);

    *phProv = 0;
    crypto::ProvHandle prov = AcquireGostProvider();
    *phKey = ImportDuplicate(prov.get(), value);
    *phProv = prov.release();
}

}  // namespace

void Import(const CRYPT_XML_BLOB& blob, HCRYPTPROV* phProv, HCRYPTKEY* phKey) {
    try {
        ImportSteps(blob, phProv, phKey);
    } catch (...) {
        xsecErrors::RethrowAsFailure(kRoutine);
    }
}

}  // namespace gostKeyValueImport
