// A GOST R 34.10-2001 key value arrives as a serialised KeyValue element: it is parsed,
// read by xml-security-c's key-value class, and imported through WinCAPICryptoKeyGOST
// into a verification context of the GOST provider.
#include <cstdio>
#include <exception>
#include <memory>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/dsig/DSIGKeyInfoValue.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECEnv.hpp>
#include <xsec/framework/XSECException.hpp>

#include "api/CryptXmlException.hpp"
#include "api/Lifecycle.hpp"
#include "api/Trace.hpp"
#include "crypto/CapiHandles.hpp"
#include "crypto/WinCAPICryptoKeyGOST.hpp"
#include "document/XmlBlob.hpp"
#include "keys/PublicKeyImport.hpp"

namespace keyImport {
namespace {

constexpr char kRoutine[] = "ImportGostKey";
constexpr wchar_t kRoutineW[] = L"ImportGostKey";
constexpr ULONG kBlobMax = 0x7FFFFFF8;  // CRYPT_XML_BLOB_MAX
constexpr DWORD kKrmProvType = 2;       // the legacy shared GOST provider type
constexpr DWORD kCproProvType = 75;     // PROV_GOST_2001_DH

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
    if (CryptAcquireContextW(prov.put(), nullptr, nullptr, kKrmProvType, CRYPT_VERIFYCONTEXT)) return prov;
    const DWORD firstError = GetLastError();
    if (firstError != static_cast<DWORD>(NTE_KEYSET_NOT_DEF)) {
        RaiseProviderFailure("CryptAcquireContext(KRM_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x%x", firstError);
    }
    trace::traceA(kRoutine, "CryptAcquireContext() returns NTE_KEYSET_NOT_DEF on (KRM_PROV_TYPE, CRYPT_VERIFYCONTEXT)");
    trace::traceA(kRoutine, "Try to call CryptAcquireContext() with (CPRO_PROV_TYPE, CRYPT_VERIFYCONTEXT)");
    if (CryptAcquireContextW(prov.put(), nullptr, nullptr, kCproProvType, CRYPT_VERIFYCONTEXT)) return prov;
    RaiseProviderFailure("CryptAcquireContext(CPRO_PROV_TYPE,CRYPT_VERIFYCONTEXT) returns 0x%x", firstError);
}

void CheckBlob(const CRYPT_XML_BLOB& blob) {
    if (blob.pbData == nullptr || blob.cbData == 0) {
        errors::Raise<hr::kInvalidArg>(kRoutine, "NULL == keyValue.pbData || 0 == keyValue.cbData");
    }
    if (blob.cbData > kBlobMax) {
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

// Steps that throw. *phProv is zeroed before the provider is looked for; both out values
// are set only when everything succeeded.
void Import(const CRYPT_XML_BLOB& blob, HCRYPTPROV* phProv, HCRYPTKEY* phKey) {
    CheckBlob(blob);
    // Parsing needs Xerces and xml-security-c running; an application may import a key
    // before it has opened any document.
    lifecycle::ensureXmlStack();
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

HRESULT ImportGostKey(const CRYPT_XML_KEY_VALUE& keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept {
    if (keyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_GOST) {
        trace::traceA(kRoutine, "keyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_GOST");
        return E_INVALIDARG;
    }
    HRESULT result = S_OK;
    try {
        try {
            Import(keyValue.GOSTKeyValue, phProv, phKey);
        } catch (const XSECException& e) {
            throw CryptXmlException(kRoutineW, e.getMsg());
        } catch (const xercesc::XMLException& e) {
            throw CryptXmlException(kRoutineW, e.getMessage());
        } catch (const xercesc::DOMException& e) {
            throw CryptXmlException(kRoutineW, e.getMessage());
        } catch (const XSECCryptoException& e) {
            throw CryptXmlException(kRoutine, e.getMsg() != nullptr ? e.getMsg() : "");
        }
    } catch (const CryptXmlException& e) {
        trace::traceA(kRoutine, e.what());
        result = e.hr();
    } catch (const std::exception& e) {
        trace::traceA(kRoutine, e.what());
        result = E_FAIL;
    } catch (...) {
        trace::traceA(kRoutine, "Unexpected error!");
        result = E_UNEXPECTED;
    }
    // A provider acquired here is released by its owner on the way out; *phProv was zeroed
    // before it was looked for and is set only on success.
    return result;
}

HRESULT ImportPublicKeyCAPI(const CRYPT_XML_KEY_VALUE* keyValue, HCRYPTPROV* phProv, HCRYPTKEY* phKey) noexcept {
    if (keyValue == nullptr || phProv == nullptr || phKey == nullptr) return E_INVALIDARG;
    switch (keyValue->dwType) {
        case CRYPT_XML_KEY_VALUE_TYPE_DSA: return ImportDsaKey(*keyValue, phProv, phKey);
        case CRYPT_XML_KEY_VALUE_TYPE_RSA: return ImportRsaKey(*keyValue, phProv, phKey);
        case CRYPT_XML_KEY_VALUE_TYPE_ECDSA: return E_NOTIMPL;
        case CRYPT_XML_KEY_VALUE_TYPE_GOST: return ImportGostKey(*keyValue, phProv, phKey);
        default: return E_INVALIDARG;
    }
}

}  // namespace keyImport
