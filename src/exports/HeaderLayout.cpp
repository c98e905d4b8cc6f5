// Compile-time checks that include/cryptxml.h keeps the x64 layout of the Windows SDK structures.
#include <cstddef>

#include "cryptxml.h"

static_assert(sizeof(CRYPT_XML_ALGORITHM) == 32, "CRYPT_XML_ALGORITHM size");
static_assert(sizeof(CRYPT_XML_ALGORITHM_INFO) == 72, "CRYPT_XML_ALGORITHM_INFO size");
static_assert(sizeof(CRYPT_XML_SIGNATURE) == 176, "CRYPT_XML_SIGNATURE size");
static_assert(sizeof(CRYPT_XML_DOC_CTXT) == 40, "CRYPT_XML_DOC_CTXT size");
static_assert(sizeof(CRYPT_XML_KEY_INFO) == 40, "CRYPT_XML_KEY_INFO size");
static_assert(sizeof(CRYPT_XML_TRANSFORM_INFO) == 32, "CRYPT_XML_TRANSFORM_INFO size");
static_assert(sizeof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG) == 16, "CRYPT_XML_TRANSFORM_CHAIN_CONFIG size");

static_assert(sizeof(HCRYPTXML) == 8, "HCRYPTXML size");
static_assert(sizeof(CRYPT_XML_CHARSET) == 4, "CRYPT_XML_CHARSET size");
static_assert(sizeof(CRYPT_XML_PROPERTY_ID) == 4, "CRYPT_XML_PROPERTY_ID size");
static_assert(sizeof(CRYPT_XML_KEYINFO_SPEC) == 4, "CRYPT_XML_KEYINFO_SPEC size");

static_assert(sizeof(CRYPT_XML_DATA_BLOB) == 16, "CRYPT_XML_DATA_BLOB size");
static_assert(offsetof(CRYPT_XML_DATA_BLOB, cbData) == 0, "CRYPT_XML_DATA_BLOB.cbData");
static_assert(offsetof(CRYPT_XML_DATA_BLOB, pbData) == 8, "CRYPT_XML_DATA_BLOB.pbData");

static_assert(sizeof(CRYPT_XML_BLOB) == 16, "CRYPT_XML_BLOB size");
static_assert(offsetof(CRYPT_XML_BLOB, dwCharset) == 0, "CRYPT_XML_BLOB.dwCharset");
static_assert(offsetof(CRYPT_XML_BLOB, cbData) == 4, "CRYPT_XML_BLOB.cbData");
static_assert(offsetof(CRYPT_XML_BLOB, pbData) == 8, "CRYPT_XML_BLOB.pbData");

static_assert(sizeof(CRYPT_XML_PROPERTY) == 24, "CRYPT_XML_PROPERTY size");
static_assert(offsetof(CRYPT_XML_PROPERTY, dwPropId) == 0, "CRYPT_XML_PROPERTY.dwPropId");
static_assert(offsetof(CRYPT_XML_PROPERTY, pvValue) == 8, "CRYPT_XML_PROPERTY.pvValue");
static_assert(offsetof(CRYPT_XML_PROPERTY, cbValue) == 16, "CRYPT_XML_PROPERTY.cbValue");

static_assert(sizeof(CRYPT_XML_STATUS) == 12, "CRYPT_XML_STATUS size");
static_assert(offsetof(CRYPT_XML_STATUS, cbSize) == 0, "CRYPT_XML_STATUS.cbSize");
static_assert(offsetof(CRYPT_XML_STATUS, dwErrorStatus) == 4, "CRYPT_XML_STATUS.dwErrorStatus");
static_assert(offsetof(CRYPT_XML_STATUS, dwInfoStatus) == 8, "CRYPT_XML_STATUS.dwInfoStatus");

static_assert(offsetof(CRYPT_XML_ALGORITHM, cbSize) == 0, "CRYPT_XML_ALGORITHM.cbSize");
static_assert(offsetof(CRYPT_XML_ALGORITHM, wszAlgorithm) == 8, "CRYPT_XML_ALGORITHM.wszAlgorithm");
static_assert(offsetof(CRYPT_XML_ALGORITHM, Encoded) == 16, "CRYPT_XML_ALGORITHM.Encoded");

static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, cbSize) == 0, "CRYPT_XML_ALGORITHM_INFO.cbSize");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, wszAlgorithmURI) == 8, "CRYPT_XML_ALGORITHM_INFO.wszAlgorithmURI");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, wszName) == 16, "CRYPT_XML_ALGORITHM_INFO.wszName");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, dwGroupId) == 24, "CRYPT_XML_ALGORITHM_INFO.dwGroupId");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, wszCNGAlgid) == 32, "CRYPT_XML_ALGORITHM_INFO.wszCNGAlgid");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, wszCNGExtraAlgid) == 40, "CRYPT_XML_ALGORITHM_INFO.wszCNGExtraAlgid");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, dwSignFlags) == 48, "CRYPT_XML_ALGORITHM_INFO.dwSignFlags");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, dwVerifyFlags) == 52, "CRYPT_XML_ALGORITHM_INFO.dwVerifyFlags");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, pvPaddingInfo) == 56, "CRYPT_XML_ALGORITHM_INFO.pvPaddingInfo");
static_assert(offsetof(CRYPT_XML_ALGORITHM_INFO, pvExtraInfo) == 64, "CRYPT_XML_ALGORITHM_INFO.pvExtraInfo");

static_assert(sizeof(CRYPT_XML_DATA_PROVIDER) == 32, "CRYPT_XML_DATA_PROVIDER size");
static_assert(offsetof(CRYPT_XML_DATA_PROVIDER, pvCallbackState) == 0, "CRYPT_XML_DATA_PROVIDER.pvCallbackState");
static_assert(offsetof(CRYPT_XML_DATA_PROVIDER, cbBufferSize) == 8, "CRYPT_XML_DATA_PROVIDER.cbBufferSize");
static_assert(offsetof(CRYPT_XML_DATA_PROVIDER, pfnRead) == 16, "CRYPT_XML_DATA_PROVIDER.pfnRead");
static_assert(offsetof(CRYPT_XML_DATA_PROVIDER, pfnClose) == 24, "CRYPT_XML_DATA_PROVIDER.pfnClose");

static_assert(offsetof(CRYPT_XML_TRANSFORM_INFO, cbSize) == 0, "CRYPT_XML_TRANSFORM_INFO.cbSize");
static_assert(offsetof(CRYPT_XML_TRANSFORM_INFO, wszAlgorithm) == 8, "CRYPT_XML_TRANSFORM_INFO.wszAlgorithm");
static_assert(offsetof(CRYPT_XML_TRANSFORM_INFO, cbBufferSize) == 16, "CRYPT_XML_TRANSFORM_INFO.cbBufferSize");
static_assert(offsetof(CRYPT_XML_TRANSFORM_INFO, dwFlags) == 20, "CRYPT_XML_TRANSFORM_INFO.dwFlags");
static_assert(offsetof(CRYPT_XML_TRANSFORM_INFO, pfnCreateTransform) == 24,
              "CRYPT_XML_TRANSFORM_INFO.pfnCreateTransform");

static_assert(offsetof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG, cbSize) == 0, "CRYPT_XML_TRANSFORM_CHAIN_CONFIG.cbSize");
static_assert(offsetof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG, cTransformInfo) == 4,
              "CRYPT_XML_TRANSFORM_CHAIN_CONFIG.cTransformInfo");
static_assert(offsetof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG, rgpTransformInfo) == 8,
              "CRYPT_XML_TRANSFORM_CHAIN_CONFIG.rgpTransformInfo");

static_assert(sizeof(CRYPT_XML_ISSUER_SERIAL) == 16, "CRYPT_XML_ISSUER_SERIAL size");
static_assert(offsetof(CRYPT_XML_ISSUER_SERIAL, wszIssuer) == 0, "CRYPT_XML_ISSUER_SERIAL.wszIssuer");
static_assert(offsetof(CRYPT_XML_ISSUER_SERIAL, wszSerial) == 8, "CRYPT_XML_ISSUER_SERIAL.wszSerial");

static_assert(sizeof(CRYPT_XML_X509DATA_ITEM) == 24, "CRYPT_XML_X509DATA_ITEM size");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, dwType) == 0, "CRYPT_XML_X509DATA_ITEM.dwType");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, IssuerSerial) == 8, "CRYPT_XML_X509DATA_ITEM.IssuerSerial");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, SKI) == 8, "CRYPT_XML_X509DATA_ITEM.SKI");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, wszSubjectName) == 8, "CRYPT_XML_X509DATA_ITEM.wszSubjectName");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, Certificate) == 8, "CRYPT_XML_X509DATA_ITEM.Certificate");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, CRL) == 8, "CRYPT_XML_X509DATA_ITEM.CRL");
static_assert(offsetof(CRYPT_XML_X509DATA_ITEM, Custom) == 8, "CRYPT_XML_X509DATA_ITEM.Custom");

static_assert(sizeof(CRYPT_XML_X509DATA) == 16, "CRYPT_XML_X509DATA size");
static_assert(offsetof(CRYPT_XML_X509DATA, cX509Data) == 0, "CRYPT_XML_X509DATA.cX509Data");
static_assert(offsetof(CRYPT_XML_X509DATA, rgX509Data) == 8, "CRYPT_XML_X509DATA.rgX509Data");

static_assert(sizeof(CRYPT_XML_KEY_DSA_KEY_VALUE) == 112, "CRYPT_XML_KEY_DSA_KEY_VALUE size");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, P) == 0, "CRYPT_XML_KEY_DSA_KEY_VALUE.P");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, Q) == 16, "CRYPT_XML_KEY_DSA_KEY_VALUE.Q");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, G) == 32, "CRYPT_XML_KEY_DSA_KEY_VALUE.G");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, Y) == 48, "CRYPT_XML_KEY_DSA_KEY_VALUE.Y");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, J) == 64, "CRYPT_XML_KEY_DSA_KEY_VALUE.J");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, Seed) == 80, "CRYPT_XML_KEY_DSA_KEY_VALUE.Seed");
static_assert(offsetof(CRYPT_XML_KEY_DSA_KEY_VALUE, Counter) == 96, "CRYPT_XML_KEY_DSA_KEY_VALUE.Counter");

static_assert(sizeof(CRYPT_XML_KEY_RSA_KEY_VALUE) == 32, "CRYPT_XML_KEY_RSA_KEY_VALUE size");
static_assert(offsetof(CRYPT_XML_KEY_RSA_KEY_VALUE, Modulus) == 0, "CRYPT_XML_KEY_RSA_KEY_VALUE.Modulus");
static_assert(offsetof(CRYPT_XML_KEY_RSA_KEY_VALUE, Exponent) == 16, "CRYPT_XML_KEY_RSA_KEY_VALUE.Exponent");

static_assert(sizeof(CRYPT_XML_KEY_ECDSA_KEY_VALUE) == 56, "CRYPT_XML_KEY_ECDSA_KEY_VALUE size");
static_assert(offsetof(CRYPT_XML_KEY_ECDSA_KEY_VALUE, wszNamedCurve) == 0,
              "CRYPT_XML_KEY_ECDSA_KEY_VALUE.wszNamedCurve");
static_assert(offsetof(CRYPT_XML_KEY_ECDSA_KEY_VALUE, X) == 8, "CRYPT_XML_KEY_ECDSA_KEY_VALUE.X");
static_assert(offsetof(CRYPT_XML_KEY_ECDSA_KEY_VALUE, Y) == 24, "CRYPT_XML_KEY_ECDSA_KEY_VALUE.Y");
static_assert(offsetof(CRYPT_XML_KEY_ECDSA_KEY_VALUE, ExplicitPara) == 40,
              "CRYPT_XML_KEY_ECDSA_KEY_VALUE.ExplicitPara");

static_assert(sizeof(CRYPT_XML_KEY_VALUE) == 120, "CRYPT_XML_KEY_VALUE size");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, dwType) == 0, "CRYPT_XML_KEY_VALUE.dwType");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, DSAKeyValue) == 8, "CRYPT_XML_KEY_VALUE.DSAKeyValue");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, RSAKeyValue) == 8, "CRYPT_XML_KEY_VALUE.RSAKeyValue");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, ECDSAKeyValue) == 8, "CRYPT_XML_KEY_VALUE.ECDSAKeyValue");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, Custom) == 8, "CRYPT_XML_KEY_VALUE.Custom");
static_assert(offsetof(CRYPT_XML_KEY_VALUE, GOSTKeyValue) == 8, "CRYPT_XML_KEY_VALUE.GOSTKeyValue");

static_assert(sizeof(CRYPT_XML_KEY_INFO_ITEM) == 128, "CRYPT_XML_KEY_INFO_ITEM size");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, dwType) == 0, "CRYPT_XML_KEY_INFO_ITEM.dwType");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, wszKeyName) == 8, "CRYPT_XML_KEY_INFO_ITEM.wszKeyName");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, KeyValue) == 8, "CRYPT_XML_KEY_INFO_ITEM.KeyValue");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, RetrievalMethod) == 8, "CRYPT_XML_KEY_INFO_ITEM.RetrievalMethod");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, X509Data) == 8, "CRYPT_XML_KEY_INFO_ITEM.X509Data");
static_assert(offsetof(CRYPT_XML_KEY_INFO_ITEM, Custom) == 8, "CRYPT_XML_KEY_INFO_ITEM.Custom");

static_assert(offsetof(CRYPT_XML_KEY_INFO, cbSize) == 0, "CRYPT_XML_KEY_INFO.cbSize");
static_assert(offsetof(CRYPT_XML_KEY_INFO, wszId) == 8, "CRYPT_XML_KEY_INFO.wszId");
static_assert(offsetof(CRYPT_XML_KEY_INFO, cKeyInfo) == 16, "CRYPT_XML_KEY_INFO.cKeyInfo");
static_assert(offsetof(CRYPT_XML_KEY_INFO, rgKeyInfo) == 24, "CRYPT_XML_KEY_INFO.rgKeyInfo");
static_assert(offsetof(CRYPT_XML_KEY_INFO, hVerifyKey) == 32, "CRYPT_XML_KEY_INFO.hVerifyKey");

static_assert(sizeof(CRYPT_XML_KEYINFO_PARAM) == 72, "CRYPT_XML_KEYINFO_PARAM size");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, wszId) == 0, "CRYPT_XML_KEYINFO_PARAM.wszId");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, wszKeyName) == 8, "CRYPT_XML_KEYINFO_PARAM.wszKeyName");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, SKI) == 16, "CRYPT_XML_KEYINFO_PARAM.SKI");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, wszSubjectName) == 32, "CRYPT_XML_KEYINFO_PARAM.wszSubjectName");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, cCertificate) == 40, "CRYPT_XML_KEYINFO_PARAM.cCertificate");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, rgCertificate) == 48, "CRYPT_XML_KEYINFO_PARAM.rgCertificate");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, cCRL) == 56, "CRYPT_XML_KEYINFO_PARAM.cCRL");
static_assert(offsetof(CRYPT_XML_KEYINFO_PARAM, rgCRL) == 64, "CRYPT_XML_KEYINFO_PARAM.rgCRL");

static_assert(sizeof(CRYPT_XML_REFERENCE) == 104, "CRYPT_XML_REFERENCE size");
static_assert(offsetof(CRYPT_XML_REFERENCE, cbSize) == 0, "CRYPT_XML_REFERENCE.cbSize");
static_assert(offsetof(CRYPT_XML_REFERENCE, hReference) == 8, "CRYPT_XML_REFERENCE.hReference");
static_assert(offsetof(CRYPT_XML_REFERENCE, wszId) == 16, "CRYPT_XML_REFERENCE.wszId");
static_assert(offsetof(CRYPT_XML_REFERENCE, wszUri) == 24, "CRYPT_XML_REFERENCE.wszUri");
static_assert(offsetof(CRYPT_XML_REFERENCE, wszType) == 32, "CRYPT_XML_REFERENCE.wszType");
static_assert(offsetof(CRYPT_XML_REFERENCE, DigestMethod) == 40, "CRYPT_XML_REFERENCE.DigestMethod");
static_assert(offsetof(CRYPT_XML_REFERENCE, DigestValue) == 72, "CRYPT_XML_REFERENCE.DigestValue");
static_assert(offsetof(CRYPT_XML_REFERENCE, cTransform) == 88, "CRYPT_XML_REFERENCE.cTransform");
static_assert(offsetof(CRYPT_XML_REFERENCE, rgTransform) == 96, "CRYPT_XML_REFERENCE.rgTransform");

static_assert(sizeof(CRYPT_XML_REFERENCES) == 16, "CRYPT_XML_REFERENCES size");
static_assert(offsetof(CRYPT_XML_REFERENCES, cReference) == 0, "CRYPT_XML_REFERENCES.cReference");
static_assert(offsetof(CRYPT_XML_REFERENCES, rgpReference) == 8, "CRYPT_XML_REFERENCES.rgpReference");

static_assert(sizeof(CRYPT_XML_SIGNED_INFO) == 112, "CRYPT_XML_SIGNED_INFO size");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, cbSize) == 0, "CRYPT_XML_SIGNED_INFO.cbSize");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, wszId) == 8, "CRYPT_XML_SIGNED_INFO.wszId");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, Canonicalization) == 16, "CRYPT_XML_SIGNED_INFO.Canonicalization");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, SignatureMethod) == 48, "CRYPT_XML_SIGNED_INFO.SignatureMethod");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, cReference) == 80, "CRYPT_XML_SIGNED_INFO.cReference");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, rgpReference) == 88, "CRYPT_XML_SIGNED_INFO.rgpReference");
static_assert(offsetof(CRYPT_XML_SIGNED_INFO, Encoded) == 96, "CRYPT_XML_SIGNED_INFO.Encoded");

static_assert(sizeof(CRYPT_XML_OBJECT) == 72, "CRYPT_XML_OBJECT size");
static_assert(offsetof(CRYPT_XML_OBJECT, cbSize) == 0, "CRYPT_XML_OBJECT.cbSize");
static_assert(offsetof(CRYPT_XML_OBJECT, hObject) == 8, "CRYPT_XML_OBJECT.hObject");
static_assert(offsetof(CRYPT_XML_OBJECT, wszId) == 16, "CRYPT_XML_OBJECT.wszId");
static_assert(offsetof(CRYPT_XML_OBJECT, wszMimeType) == 24, "CRYPT_XML_OBJECT.wszMimeType");
static_assert(offsetof(CRYPT_XML_OBJECT, wszEncoding) == 32, "CRYPT_XML_OBJECT.wszEncoding");
static_assert(offsetof(CRYPT_XML_OBJECT, Manifest) == 40, "CRYPT_XML_OBJECT.Manifest");
static_assert(offsetof(CRYPT_XML_OBJECT, Encoded) == 56, "CRYPT_XML_OBJECT.Encoded");

static_assert(offsetof(CRYPT_XML_SIGNATURE, cbSize) == 0, "CRYPT_XML_SIGNATURE.cbSize");
static_assert(offsetof(CRYPT_XML_SIGNATURE, hSignature) == 8, "CRYPT_XML_SIGNATURE.hSignature");
static_assert(offsetof(CRYPT_XML_SIGNATURE, wszId) == 16, "CRYPT_XML_SIGNATURE.wszId");
static_assert(offsetof(CRYPT_XML_SIGNATURE, SignedInfo) == 24, "CRYPT_XML_SIGNATURE.SignedInfo");
static_assert(offsetof(CRYPT_XML_SIGNATURE, SignatureValue) == 136, "CRYPT_XML_SIGNATURE.SignatureValue");
static_assert(offsetof(CRYPT_XML_SIGNATURE, pKeyInfo) == 152, "CRYPT_XML_SIGNATURE.pKeyInfo");
static_assert(offsetof(CRYPT_XML_SIGNATURE, cObject) == 160, "CRYPT_XML_SIGNATURE.cObject");
static_assert(offsetof(CRYPT_XML_SIGNATURE, rgpObject) == 168, "CRYPT_XML_SIGNATURE.rgpObject");

static_assert(offsetof(CRYPT_XML_DOC_CTXT, cbSize) == 0, "CRYPT_XML_DOC_CTXT.cbSize");
static_assert(offsetof(CRYPT_XML_DOC_CTXT, hDocCtxt) == 8, "CRYPT_XML_DOC_CTXT.hDocCtxt");
static_assert(offsetof(CRYPT_XML_DOC_CTXT, pTransformsConfig) == 16, "CRYPT_XML_DOC_CTXT.pTransformsConfig");
static_assert(offsetof(CRYPT_XML_DOC_CTXT, cSignature) == 24, "CRYPT_XML_DOC_CTXT.cSignature");
static_assert(offsetof(CRYPT_XML_DOC_CTXT, rgpSignature) == 32, "CRYPT_XML_DOC_CTXT.rgpSignature");

static_assert(sizeof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE) == 72, "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE size");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, cbSize) == 0, "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.cbSize");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlEncodeAlgorithm) == 8,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlEncodeAlgorithm");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlCreateDigest) == 16,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlCreateDigest");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlDigestData) == 24,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlDigestData");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlFinalizeDigest) == 32,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlFinalizeDigest");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlCloseDigest) == 40,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlCloseDigest");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlSignData) == 48,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlSignData");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlVerifySignature) == 56,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlVerifySignature");
static_assert(offsetof(CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, fpCryptXmlGetAlgorithmInfo) == 64,
              "CRYPT_XML_CRYPTOGRAPHIC_INTERFACE.fpCryptXmlGetAlgorithmInfo");

static_assert(CRYPT_XML_STATUS_ERROR_NOT_RESOLVED == 0x1 && CRYPT_XML_STATUS_ERROR_DIGEST_INVALID == 0x2 &&
                  CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_ALGORITHM == 0x4 &&
                  CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM == 0x8 &&
                  CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID == 0x10000 &&
                  CRYPT_XML_STATUS_ERROR_KEYINFO_NOT_PARSED == 0x20000,
              "error status bits");
static_assert(CRYPT_XML_KEY_VALUE_TYPE_GOST == 8, "GOST key-value type");
static_assert(static_cast<unsigned long>(CRYPT_XML_E_HANDLE) == 0x80092106UL &&
                  static_cast<unsigned long>(CRYPT_XML_E_LARGE) == 0x80092101UL &&
                  static_cast<unsigned long>(CRYPT_XML_E_NON_UNIQUE_ID) == 0x80092112UL,
              "error codes");
