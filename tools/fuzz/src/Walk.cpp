#include "Walk.hpp"

namespace fuzz {

void Walker::Problem(const char* what) { problems_.push_back(std::string("structure: ") + what); }

void Walker::Text(const wchar_t* text) {
    if (text == nullptr) return;
    for (const wchar_t* p = text; *p != 0; ++p) sum_ += static_cast<uint16_t>(*p);
}

void Walker::Bytes(const void* data, size_t size, const char* what) {
    if (size == 0) return;
    if (data == nullptr) return Problem(what);
    const auto* bytes = static_cast<const volatile uint8_t*>(data);
    for (size_t i = 0; i < size; ++i) sum_ += bytes[i];
}

void Walker::Algorithm(const CRYPT_XML_ALGORITHM& algorithm, const char* what) {
    Text(algorithm.wszAlgorithm);
    Bytes(algorithm.Encoded.pbData, algorithm.Encoded.cbData, what);
}

void Walker::Document(const CRYPT_XML_DOC_CTXT& doc) {
    if (doc.cbSize != sizeof(CRYPT_XML_DOC_CTXT)) Problem("CRYPT_XML_DOC_CTXT.cbSize");
    if (doc.cSignature != 0 && doc.rgpSignature == nullptr) return Problem("cSignature without rgpSignature");
    for (ULONG i = 0; i < doc.cSignature; ++i) {
        if (doc.rgpSignature[i] == nullptr) return Problem("null signature pointer");
        Signature(*doc.rgpSignature[i]);
    }
}

void Walker::Signature(const CRYPT_XML_SIGNATURE& sig) {
    if (sig.cbSize != sizeof(CRYPT_XML_SIGNATURE)) Problem("CRYPT_XML_SIGNATURE.cbSize");
    if (sig.hSignature == nullptr) Problem("null hSignature");
    Text(sig.wszId);
    Text(sig.SignedInfo.wszId);
    Algorithm(sig.SignedInfo.Canonicalization, "CanonicalizationMethod.Encoded");
    Algorithm(sig.SignedInfo.SignatureMethod, "SignatureMethod.Encoded");
    Bytes(sig.SignedInfo.Encoded.pbData, sig.SignedInfo.Encoded.cbData, "SignedInfo.Encoded");
    Bytes(sig.SignatureValue.pbData, sig.SignatureValue.cbData, "SignatureValue");
    if (sig.SignedInfo.cReference != 0 && sig.SignedInfo.rgpReference == nullptr) {
        Problem("cReference without rgpReference");
    } else {
        for (ULONG i = 0; i < sig.SignedInfo.cReference; ++i) {
            if (sig.SignedInfo.rgpReference[i] == nullptr)
                Problem("null reference pointer");
            else
                Reference(*sig.SignedInfo.rgpReference[i]);
        }
    }
    if (sig.pKeyInfo != nullptr) KeyInfo(*sig.pKeyInfo);
    if (sig.cObject != 0 && sig.rgpObject == nullptr) return Problem("cObject without rgpObject");
    for (ULONG i = 0; i < sig.cObject; ++i) {
        if (sig.rgpObject[i] == nullptr)
            Problem("null object pointer");
        else
            Object(*sig.rgpObject[i]);
    }
}

void Walker::Reference(const CRYPT_XML_REFERENCE& ref) {
    if (ref.cbSize != sizeof(CRYPT_XML_REFERENCE)) Problem("CRYPT_XML_REFERENCE.cbSize");
    if (ref.hReference == nullptr) Problem("null hReference");
    Text(ref.wszId);
    Text(ref.wszUri);
    Text(ref.wszType);
    Algorithm(ref.DigestMethod, "DigestMethod.Encoded");
    Bytes(ref.DigestValue.pbData, ref.DigestValue.cbData, "DigestValue");
    if (ref.cTransform != 0 && ref.rgTransform == nullptr) return Problem("cTransform without rgTransform");
    for (ULONG i = 0; i < ref.cTransform; ++i) Algorithm(ref.rgTransform[i], "Transform.Encoded");
}

void Walker::KeyInfo(const CRYPT_XML_KEY_INFO& keyInfo) {
    if (keyInfo.cbSize != sizeof(CRYPT_XML_KEY_INFO)) Problem("CRYPT_XML_KEY_INFO.cbSize");
    Text(keyInfo.wszId);
    if (keyInfo.cKeyInfo != 0 && keyInfo.rgKeyInfo == nullptr) return Problem("cKeyInfo without rgKeyInfo");
    for (UINT i = 0; i < keyInfo.cKeyInfo; ++i) {
        const CRYPT_XML_KEY_INFO_ITEM& item = keyInfo.rgKeyInfo[i];
        switch (item.dwType) {
            case CRYPT_XML_KEYINFO_TYPE_KEYNAME: Text(item.wszKeyName); break;
            case CRYPT_XML_KEYINFO_TYPE_KEYVALUE: KeyValue(item.KeyValue); break;
            case CRYPT_XML_KEYINFO_TYPE_RETRIEVAL:
                Bytes(item.RetrievalMethod.pbData, item.RetrievalMethod.cbData, "RetrievalMethod");
                break;
            case CRYPT_XML_KEYINFO_TYPE_X509DATA: X509Data(item.X509Data); break;
            case CRYPT_XML_KEYINFO_TYPE_CUSTOM: Bytes(item.Custom.pbData, item.Custom.cbData, "KeyInfo custom"); break;
            default: Problem("unknown KeyInfo item type"); break;
        }
    }
}

void Walker::KeyValue(const CRYPT_XML_KEY_VALUE& value) {
    switch (value.dwType) {
        case CRYPT_XML_KEY_VALUE_TYPE_DSA: {
            const CRYPT_XML_KEY_DSA_KEY_VALUE& d = value.DSAKeyValue;
            for (const CRYPT_XML_DATA_BLOB* b : {&d.P, &d.Q, &d.G, &d.Y, &d.J, &d.Seed, &d.Counter}) {
                Bytes(b->pbData, b->cbData, "DSAKeyValue");
            }
            break;
        }
        case CRYPT_XML_KEY_VALUE_TYPE_RSA:
            Bytes(value.RSAKeyValue.Modulus.pbData, value.RSAKeyValue.Modulus.cbData, "Modulus");
            Bytes(value.RSAKeyValue.Exponent.pbData, value.RSAKeyValue.Exponent.cbData, "Exponent");
            break;
        case CRYPT_XML_KEY_VALUE_TYPE_ECDSA:
            Text(value.ECDSAKeyValue.wszNamedCurve);
            Bytes(value.ECDSAKeyValue.X.pbData, value.ECDSAKeyValue.X.cbData, "ECDSA X");
            Bytes(value.ECDSAKeyValue.Y.pbData, value.ECDSAKeyValue.Y.cbData, "ECDSA Y");
            break;
        case CRYPT_XML_KEY_VALUE_TYPE_CUSTOM:
        case CRYPT_XML_KEY_VALUE_TYPE_GOST: Bytes(value.Custom.pbData, value.Custom.cbData, "KeyValue custom"); break;
        default: Problem("unknown KeyValue type"); break;
    }
}

void Walker::X509Data(const CRYPT_XML_X509DATA& data) {
    if (data.cX509Data != 0 && data.rgX509Data == nullptr) return Problem("cX509Data without rgX509Data");
    for (UINT i = 0; i < data.cX509Data; ++i) {
        const CRYPT_XML_X509DATA_ITEM& item = data.rgX509Data[i];
        switch (item.dwType) {
            case CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL:
                Text(item.IssuerSerial.wszIssuer);
                Text(item.IssuerSerial.wszSerial);
                break;
            case CRYPT_XML_X509DATA_TYPE_SKI: Bytes(item.SKI.pbData, item.SKI.cbData, "X509SKI"); break;
            case CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME: Text(item.wszSubjectName); break;
            case CRYPT_XML_X509DATA_TYPE_CERTIFICATE:
                Bytes(item.Certificate.pbData, item.Certificate.cbData, "X509Certificate");
                break;
            case CRYPT_XML_X509DATA_TYPE_CRL: Bytes(item.CRL.pbData, item.CRL.cbData, "X509CRL"); break;
            case CRYPT_XML_X509DATA_TYPE_CUSTOM: Bytes(item.Custom.pbData, item.Custom.cbData, "X509 custom"); break;
            default: Problem("unknown X509Data item type"); break;
        }
    }
}

void Walker::Object(const CRYPT_XML_OBJECT& object) {
    if (object.cbSize != sizeof(CRYPT_XML_OBJECT)) Problem("CRYPT_XML_OBJECT.cbSize");
    Text(object.wszId);
    Text(object.wszMimeType);
    Text(object.wszEncoding);
    Bytes(object.Encoded.pbData, object.Encoded.cbData, "Object.Encoded");
    if (object.Manifest.cReference != 0 && object.Manifest.rgpReference == nullptr) {
        return Problem("Manifest cReference without rgpReference");
    }
    for (ULONG i = 0; i < object.Manifest.cReference; ++i) {
        if (object.Manifest.rgpReference[i] == nullptr)
            Problem("null manifest reference pointer");
        else
            Reference(*object.Manifest.rgpReference[i]);
    }
}

}  // namespace fuzz
