/*
 * cryptxml.h - public header of talvoran-cryptxml64.dll
 *
 * Declares the CryptXML API (XML digital signatures) with the types,
 * constants and functions of the Windows SDK and the layout of the SDK
 * structures on x64, followed by the library's own additions (CryptoAPI
 * key import and verification, debug trace, clean-up, redirection to the
 * system CryptXml.dll, and the GOST key-value type).
 *
 * Applications that link against talvoran-cryptxml64.dll include this
 * header instead of the platform's cryptxml.h.  The include guard below
 * also defines _INC_CRYPTXML, the guard macro of the MinGW-w64 cryptxml.h,
 * so that header is skipped if something includes it after this one.  The
 * MinGW-w64 header disagrees with the published API in several places
 * (by-value parameters, members declared void, undefined types), so the
 * two must not be mixed; including it first is diagnosed below.
 *
 * Usable from C and C++; every function uses the WINAPI calling
 * convention and C linkage.
 */

#ifndef TALVORAN_CRYPTXML_H
#define TALVORAN_CRYPTXML_H

#if defined(_INC_CRYPTXML)
#error "The platform cryptxml.h was included before this header; include only this cryptxml.h."
#endif
#define _INC_CRYPTXML

#if defined(_MSC_VER) && (_MSC_VER >= 1020)
#pragma once
#endif

#ifndef _WINDOWS_
#include <windows.h>
#endif
#include <wincrypt.h>
#include <bcrypt.h>
#include <ncrypt.h>

#ifndef WINAPI
#define WINAPI __stdcall
#endif
#ifndef CALLBACK
#define CALLBACK __stdcall
#endif

/*
 * Linkage of the exported functions.  The library itself is built with
 * TALVORAN_CRYPTXML_EXPORTS defined; a build may also define CRYPTXMLAPI
 * itself (for example empty, when a .def file exports the functions).
 */
#ifndef CRYPTXMLAPI
#  if defined(TALVORAN_CRYPTXML_EXPORTS)
#    define CRYPTXMLAPI __declspec(dllexport)
#  elif defined(DECLSPEC_IMPORT)
#    define CRYPTXMLAPI DECLSPEC_IMPORT
#  else
#    define CRYPTXMLAPI __declspec(dllimport)
#  endif
#endif

/* Unnamed unions inside the published structures (C11 and C++ both allow them). */
#if defined(__GNUC__) && !defined(__cplusplus) && \
    (!defined(__STDC_VERSION__) || (__STDC_VERSION__ < 201112L))
#  define CRYPT_XML_NAMELESS_UNION __extension__ union
#else
#  define CRYPT_XML_NAMELESS_UNION union
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------
 * Handles and forward declarations
 * ---------------------------------------------------------------------- */

typedef void *HCRYPTXML;

typedef struct _CRYPT_XML_BLOB                    CRYPT_XML_BLOB, *PCRYPT_XML_BLOB;
typedef struct _CRYPT_XML_DATA_BLOB               CRYPT_XML_DATA_BLOB, *PCRYPT_XML_DATA_BLOB;
typedef struct _CRYPT_XML_STATUS                  CRYPT_XML_STATUS, *PCRYPT_XML_STATUS;
typedef struct _CRYPT_XML_TRANSFORM_INFO          CRYPT_XML_TRANSFORM_INFO, *PCRYPT_XML_TRANSFORM_INFO;
typedef struct _CRYPT_XML_TRANSFORM_CHAIN_CONFIG  CRYPT_XML_TRANSFORM_CHAIN_CONFIG, *PCRYPT_XML_TRANSFORM_CHAIN_CONFIG;
typedef struct _CRYPT_XML_KEY_INFO                CRYPT_XML_KEY_INFO, *PCRYPT_XML_KEY_INFO;
typedef struct _CRYPT_XML_ALGORITHM               CRYPT_XML_ALGORITHM, *PCRYPT_XML_ALGORITHM;
typedef struct _CRYPT_XML_REFERENCE               CRYPT_XML_REFERENCE, *PCRYPT_XML_REFERENCE;
typedef struct _CRYPT_XML_REFERENCES              CRYPT_XML_REFERENCES, *PCRYPT_XML_REFERENCES;
typedef struct _CRYPT_XML_SIGNED_INFO             CRYPT_XML_SIGNED_INFO, *PCRYPT_XML_SIGNED_INFO;
typedef struct _CRYPT_XML_OBJECT                  CRYPT_XML_OBJECT, *PCRYPT_XML_OBJECT;
typedef struct _CRYPT_XML_SIGNATURE               CRYPT_XML_SIGNATURE, *PCRYPT_XML_SIGNATURE;
typedef struct _CRYPT_XML_DOC_CTXT                CRYPT_XML_DOC_CTXT, *PCRYPT_XML_DOC_CTXT;
typedef struct _CRYPT_XML_PROPERTY                CRYPT_XML_PROPERTY, *PCRYPT_XML_PROPERTY;
typedef struct _CRYPT_XML_DATA_PROVIDER           CRYPT_XML_DATA_PROVIDER, *PCRYPT_XML_DATA_PROVIDER;
typedef struct _CRYPT_XML_ALGORITHM_INFO          CRYPT_XML_ALGORITHM_INFO, *PCRYPT_XML_ALGORITHM_INFO;
typedef const CRYPT_XML_ALGORITHM_INFO           *PCCRYPT_XML_ALGORITHM_INFO;
typedef struct _CRYPT_XML_CRYPTOGRAPHIC_INTERFACE CRYPT_XML_CRYPTOGRAPHIC_INTERFACE, *PCRYPT_XML_CRYPTOGRAPHIC_INTERFACE,
                                                  *PCRYPT_XML_CRYPTO_PROVIDER;

/* ------------------------------------------------------------------------
 * Limits
 * ---------------------------------------------------------------------- */

#define CRYPT_XML_BLOB_MAX             0x7FFFFFF8
#define CRYPT_XML_ID_MAX               256
#define CRYPT_XML_SIGNATURES_MAX       16
#define CRYPT_XML_TRANSFORM_MAX        16
#define CRYPT_XML_SIGNATURE_VALUE_MAX  2048
#define CRYPT_XML_DIGEST_VALUE_MAX     128
#define CRYPT_XML_OBJECTS_MAX          256
#define CRYPT_XML_REFERENCES_MAX       32760

/* ------------------------------------------------------------------------
 * Error codes (HRESULT)
 * ---------------------------------------------------------------------- */

#define CRYPT_XML_E_BASE                  _HRESULT_TYPEDEF_(0x80092100L)
#define CRYPT_XML_E_LARGE                 _HRESULT_TYPEDEF_(0x80092101L)
#define CRYPT_XML_E_TOO_MANY_TRANSFORMS   _HRESULT_TYPEDEF_(0x80092102L)
#define CRYPT_XML_E_ENCODING              _HRESULT_TYPEDEF_(0x80092103L)
#define CRYPT_XML_E_ALGORITHM             _HRESULT_TYPEDEF_(0x80092104L)
#define CRYPT_XML_E_TRANSFORM             _HRESULT_TYPEDEF_(0x80092105L)
#define CRYPT_XML_E_HANDLE                _HRESULT_TYPEDEF_(0x80092106L)
#define CRYPT_XML_E_OPERATION             _HRESULT_TYPEDEF_(0x80092107L)
#define CRYPT_XML_E_UNRESOLVED_REFERENCE  _HRESULT_TYPEDEF_(0x80092108L)
#define CRYPT_XML_E_INVALID_DIGEST        _HRESULT_TYPEDEF_(0x80092109L)
#define CRYPT_XML_E_INVALID_SIGNATURE     _HRESULT_TYPEDEF_(0x8009210AL)
#define CRYPT_XML_E_HASH_FAILED           _HRESULT_TYPEDEF_(0x8009210BL)
#define CRYPT_XML_E_SIGN_FAILED           _HRESULT_TYPEDEF_(0x8009210CL)
#define CRYPT_XML_E_VERIFY_FAILED         _HRESULT_TYPEDEF_(0x8009210DL)
#define CRYPT_XML_E_TOO_MANY_SIGNATURES   _HRESULT_TYPEDEF_(0x8009210EL)
#define CRYPT_XML_E_INVALID_KEYVALUE      _HRESULT_TYPEDEF_(0x8009210FL)
#define CRYPT_XML_E_UNEXPECTED_XML        _HRESULT_TYPEDEF_(0x80092110L)
#define CRYPT_XML_E_SIGNER                _HRESULT_TYPEDEF_(0x80092111L)
#define CRYPT_XML_E_NON_UNIQUE_ID         _HRESULT_TYPEDEF_(0x80092112L)
#define CRYPT_XML_E_LAST                  _HRESULT_TYPEDEF_(0x80092112L)

/* ------------------------------------------------------------------------
 * Flags
 * ---------------------------------------------------------------------- */

/* CryptXmlOpenToEncode, CryptXmlOpenToDecode, CryptXmlSign, ... */
#define CRYPT_XML_FLAG_ALWAYS_RETURN_ENCODED_OBJECT  0x40000000
#define CRYPT_XML_FLAG_ENFORCE_ID_NCNAME_FORMAT      0x20000000
#define CRYPT_XML_FLAG_ENFORCE_ID_NAME_FORMAT        0x08000000
#define CRYPT_XML_FLAG_ECDSA_DSIG11                  0x04000000
#define CRYPT_XML_FLAG_NO_SERIALIZE                  0x80000000
#define CRYPT_XML_FLAG_DISABLE_EXTENSIONS            0x10000000

/* CryptXmlAddObject */
#define CRYPT_XML_FLAG_ADD_OBJECT_CREATE_COPY        0x00000001

/* CryptXmlCreateReference */
#define CRYPT_XML_FLAG_CREATE_REFERENCE_AS_OBJECT    0x00000001

/* CryptXmlDigestReference (both spellings are in use) */
#define CRYPT_XML_DIGEST_REFERENCE_DATA_TRANSFORMED  0x00000001
#define CRYPT_XML_REFERENCE_DATA_TRANSFORMED         0x00000001

/* CryptXmlSign */
#define CRYPT_XML_SIGN_ADD_KEYVALUE                  0x00000001

/* Values of the dwKeySpec parameter of CryptXmlSign (also in wincrypt.h). */
#ifndef AT_KEYEXCHANGE
#define AT_KEYEXCHANGE        1
#endif
#ifndef AT_SIGNATURE
#define AT_SIGNATURE          2
#endif
#ifndef CERT_NCRYPT_KEY_SPEC
#define CERT_NCRYPT_KEY_SPEC  0xFFFFFFFF
#endif

/* ------------------------------------------------------------------------
 * Enumerations
 * ---------------------------------------------------------------------- */

typedef enum
{
    CRYPT_XML_CHARSET_AUTO    = 0,
    CRYPT_XML_CHARSET_UTF8    = 1,
    CRYPT_XML_CHARSET_UTF16LE = 2,
    CRYPT_XML_CHARSET_UTF16BE = 3
} CRYPT_XML_CHARSET;

typedef enum
{
    CRYPT_XML_PROPERTY_MAX_HEAP_SIZE      = 1,
    CRYPT_XML_PROPERTY_SIGNATURE_LOCATION = 2,
    CRYPT_XML_PROPERTY_MAX_SIGNATURES     = 3,
    CRYPT_XML_PROPERTY_DOC_DECLARATION    = 4,
    CRYPT_XML_PROPERTY_XML_OUTPUT_CHARSET = 5
} CRYPT_XML_PROPERTY_ID;

typedef enum
{
    CRYPT_XML_KEYINFO_SPEC_NONE    = 0,
    CRYPT_XML_KEYINFO_SPEC_ENCODED = 1,
    CRYPT_XML_KEYINFO_SPEC_PARAM   = 2
} CRYPT_XML_KEYINFO_SPEC;

/* ------------------------------------------------------------------------
 * Blobs and properties
 * ---------------------------------------------------------------------- */

struct _CRYPT_XML_DATA_BLOB
{
    ULONG               cbData;
    BYTE               *pbData;
};

struct _CRYPT_XML_BLOB
{
    CRYPT_XML_CHARSET   dwCharset;
    ULONG               cbData;
    BYTE               *pbData;
};

struct _CRYPT_XML_PROPERTY
{
    CRYPT_XML_PROPERTY_ID dwPropId;
    const void           *pvValue;
    ULONG                 cbValue;
};

/* ------------------------------------------------------------------------
 * Status
 * ---------------------------------------------------------------------- */

struct _CRYPT_XML_STATUS
{
    ULONG               cbSize;
    DWORD               dwErrorStatus;
    DWORD               dwInfoStatus;
};

/* dwErrorStatus: single bits, merged up the context tree with OR. The unsupported-algorithm
 * bit is 0x4; 0x5 as some headers and pages give it would read as "not resolved" too. */
#define CRYPT_XML_STATUS_ERROR_NOT_RESOLVED             0x00000001
#define CRYPT_XML_STATUS_ERROR_DIGEST_INVALID           0x00000002
#define CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_ALGORITHM  0x00000004
#define CRYPT_XML_STATUS_ERROR_NOT_SUPPORTED_TRANSFORM  0x00000008
#define CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID        0x00010000
#define CRYPT_XML_STATUS_ERROR_KEYINFO_NOT_PARSED       0x00020000

/* dwInfoStatus */
#define CRYPT_XML_STATUS_INTERNAL_REFERENCE             0x00000001
#define CRYPT_XML_STATUS_KEY_AVAILABLE                  0x00000002
#define CRYPT_XML_STATUS_DIGESTING                      0x00000004
#define CRYPT_XML_STATUS_DIGEST_VALID                   0x00000008
#define CRYPT_XML_STATUS_SIGNATURE_VALID                0x00010000
#define CRYPT_XML_STATUS_OPENED_TO_ENCODE               0x80000000

/* ------------------------------------------------------------------------
 * Algorithms
 * ---------------------------------------------------------------------- */

struct _CRYPT_XML_ALGORITHM
{
    ULONG               cbSize;
    LPCWSTR             wszAlgorithm;
    CRYPT_XML_BLOB      Encoded;
};

struct _CRYPT_XML_ALGORITHM_INFO
{
    DWORD               cbSize;
    WCHAR              *wszAlgorithmURI;
    WCHAR              *wszName;
    DWORD               dwGroupId;
    WCHAR              *wszCNGAlgid;
    WCHAR              *wszCNGExtraAlgid;
    DWORD               dwSignFlags;
    DWORD               dwVerifyFlags;
    void               *pvPaddingInfo;
    void               *pvExtraInfo;
};

/* CRYPT_XML_ALGORITHM_INFO.dwGroupId */
#define CRYPT_XML_GROUP_ID_HASH  1
#define CRYPT_XML_GROUP_ID_SIGN  2

/* CryptXmlFindAlgorithmInfo dwFindByType */
#define CRYPT_XML_ALGORITHM_INFO_FIND_BY_URI            1
#define CRYPT_XML_ALGORITHM_INFO_FIND_BY_NAME           2
#define CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_ALGID      3
#define CRYPT_XML_ALGORITHM_INFO_FIND_BY_CNG_SIGN_ALGID 4

typedef BOOL (WINAPI *PFN_CRYPT_XML_ENUM_ALG_INFO)(
    const CRYPT_XML_ALGORITHM_INFO *pInfo,
    void                           *pvArg);

/* ------------------------------------------------------------------------
 * Callbacks, data providers and transforms
 * ---------------------------------------------------------------------- */

typedef HRESULT (CALLBACK *PFN_CRYPT_XML_WRITE_CALLBACK)(
    void        *pvCallbackState,
    const BYTE  *pbData,
    ULONG        cbData);

typedef HRESULT (CALLBACK *PFN_CRYPT_XML_DATA_PROVIDER_READ)(
    void        *pvCallbackState,
    BYTE        *pbData,
    ULONG        cbData,
    ULONG       *pcbRead);

typedef HRESULT (CALLBACK *PFN_CRYPT_XML_DATA_PROVIDER_CLOSE)(
    void        *pvCallbackState);

struct _CRYPT_XML_DATA_PROVIDER
{
    void                               *pvCallbackState;
    ULONG                               cbBufferSize;
    PFN_CRYPT_XML_DATA_PROVIDER_READ    pfnRead;
    PFN_CRYPT_XML_DATA_PROVIDER_CLOSE   pfnClose;
};

typedef HRESULT (CALLBACK *PFN_CRYPT_XML_CREATE_TRANSFORM)(
    const CRYPT_XML_ALGORITHM *pTransform,
    CRYPT_XML_DATA_PROVIDER   *pProviderIn,
    CRYPT_XML_DATA_PROVIDER   *pProviderOut);

struct _CRYPT_XML_TRANSFORM_INFO
{
    ULONG                           cbSize;
    LPCWSTR                         wszAlgorithm;
    ULONG                           cbBufferSize;
    DWORD                           dwFlags;
    PFN_CRYPT_XML_CREATE_TRANSFORM  pfnCreateTransform;
};

/* CRYPT_XML_TRANSFORM_INFO.dwFlags */
#define CRYPT_XML_TRANSFORM_ON_STREAM         0x00000001
#define CRYPT_XML_TRANSFORM_ON_NODESET        0x00000002
#define CRYPT_XML_TRANSFORM_URI_QUERY_STRING  0x00000003

struct _CRYPT_XML_TRANSFORM_CHAIN_CONFIG
{
    ULONG                        cbSize;
    ULONG                        cTransformInfo;
    PCRYPT_XML_TRANSFORM_INFO   *rgpTransformInfo;
};

/* ------------------------------------------------------------------------
 * KeyInfo
 * ---------------------------------------------------------------------- */

typedef struct _CRYPT_XML_ISSUER_SERIAL
{
    LPCWSTR             wszIssuer;
    LPCWSTR             wszSerial;
} CRYPT_XML_ISSUER_SERIAL;

typedef struct _CRYPT_XML_X509DATA_ITEM
{
    DWORD               dwType;
    CRYPT_XML_NAMELESS_UNION
    {
        CRYPT_XML_ISSUER_SERIAL IssuerSerial;
        CRYPT_XML_DATA_BLOB     SKI;
        LPCWSTR                 wszSubjectName;
        CRYPT_XML_DATA_BLOB     Certificate;
        CRYPT_XML_DATA_BLOB     CRL;
        CRYPT_XML_BLOB          Custom;
    };
} CRYPT_XML_X509DATA_ITEM;

/* CRYPT_XML_X509DATA_ITEM.dwType */
#define CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL  0x00000001
#define CRYPT_XML_X509DATA_TYPE_SKI            0x00000002
#define CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME   0x00000003
#define CRYPT_XML_X509DATA_TYPE_CERTIFICATE    0x00000004
#define CRYPT_XML_X509DATA_TYPE_CRL            0x00000005
#define CRYPT_XML_X509DATA_TYPE_CUSTOM         0x00000006

typedef struct _CRYPT_XML_X509DATA
{
    UINT                     cX509Data;
    CRYPT_XML_X509DATA_ITEM *rgX509Data;
} CRYPT_XML_X509DATA;

typedef struct _CRYPT_XML_KEY_DSA_KEY_VALUE
{
    CRYPT_XML_DATA_BLOB P;
    CRYPT_XML_DATA_BLOB Q;
    CRYPT_XML_DATA_BLOB G;
    CRYPT_XML_DATA_BLOB Y;
    CRYPT_XML_DATA_BLOB J;
    CRYPT_XML_DATA_BLOB Seed;
    CRYPT_XML_DATA_BLOB Counter;
} CRYPT_XML_KEY_DSA_KEY_VALUE;

typedef struct _CRYPT_XML_KEY_RSA_KEY_VALUE
{
    CRYPT_XML_DATA_BLOB Modulus;
    CRYPT_XML_DATA_BLOB Exponent;
} CRYPT_XML_KEY_RSA_KEY_VALUE;

typedef struct _CRYPT_XML_KEY_ECDSA_KEY_VALUE
{
    LPCWSTR             wszNamedCurve;
    CRYPT_XML_DATA_BLOB X;
    CRYPT_XML_DATA_BLOB Y;
    CRYPT_XML_BLOB      ExplicitPara;
} CRYPT_XML_KEY_ECDSA_KEY_VALUE;

typedef struct _CRYPT_XML_KEY_VALUE
{
    DWORD               dwType;
    CRYPT_XML_NAMELESS_UNION
    {
        CRYPT_XML_KEY_DSA_KEY_VALUE   DSAKeyValue;
        CRYPT_XML_KEY_RSA_KEY_VALUE   RSAKeyValue;
        CRYPT_XML_KEY_ECDSA_KEY_VALUE ECDSAKeyValue;
        CRYPT_XML_BLOB                Custom;
        /*
         * Library extension, valid when dwType is
         * CRYPT_XML_KEY_VALUE_TYPE_GOST: the GOST R 34.10-2001 key value
         * element, serialised as XML in the charset dwCharset.  It has the
         * shape of Custom and is smaller than DSAKeyValue, so the size of
         * the union and the offsets of the published members are those of
         * the SDK.
         */
        CRYPT_XML_BLOB                GOSTKeyValue;
    };
} CRYPT_XML_KEY_VALUE;

/* CRYPT_XML_KEY_VALUE.dwType */
#define CRYPT_XML_KEY_VALUE_TYPE_DSA     0x00000001
#define CRYPT_XML_KEY_VALUE_TYPE_RSA     0x00000002
#define CRYPT_XML_KEY_VALUE_TYPE_ECDSA   0x00000003
#define CRYPT_XML_KEY_VALUE_TYPE_CUSTOM  0x00000004
/* CRYPT_XML_KEY_VALUE_TYPE_GOST (8) is defined with the library's additions below. */

typedef struct _CRYPT_XML_KEY_INFO_ITEM
{
    DWORD               dwType;
    CRYPT_XML_NAMELESS_UNION
    {
        LPCWSTR             wszKeyName;
        CRYPT_XML_KEY_VALUE KeyValue;
        CRYPT_XML_BLOB      RetrievalMethod;
        CRYPT_XML_X509DATA  X509Data;
        CRYPT_XML_BLOB      Custom;
    };
} CRYPT_XML_KEY_INFO_ITEM;

/* CRYPT_XML_KEY_INFO_ITEM.dwType */
#define CRYPT_XML_KEYINFO_TYPE_KEYNAME    0x00000001
#define CRYPT_XML_KEYINFO_TYPE_KEYVALUE   0x00000002
#define CRYPT_XML_KEYINFO_TYPE_RETRIEVAL  0x00000003
#define CRYPT_XML_KEYINFO_TYPE_X509DATA   0x00000004
#define CRYPT_XML_KEYINFO_TYPE_CUSTOM     0x00000005

struct _CRYPT_XML_KEY_INFO
{
    ULONG                    cbSize;
    LPCWSTR                  wszId;
    UINT                     cKeyInfo;
    CRYPT_XML_KEY_INFO_ITEM *rgKeyInfo;
    BCRYPT_KEY_HANDLE        hVerifyKey;
};

typedef struct _CRYPT_XML_KEYINFO_PARAM
{
    LPCWSTR             wszId;
    LPCWSTR             wszKeyName;
    CERT_BLOB           SKI;
    LPCWSTR             wszSubjectName;
    ULONG               cCertificate;
    CERT_BLOB          *rgCertificate;
    ULONG               cCRL;
    CERT_BLOB          *rgCRL;
} CRYPT_XML_KEYINFO_PARAM;

/* ------------------------------------------------------------------------
 * References, objects, signatures, documents
 * ---------------------------------------------------------------------- */

struct _CRYPT_XML_REFERENCE
{
    ULONG                cbSize;
    HCRYPTXML            hReference;
    LPCWSTR              wszId;
    LPCWSTR              wszUri;
    LPCWSTR              wszType;
    CRYPT_XML_ALGORITHM  DigestMethod;
    CRYPT_DATA_BLOB      DigestValue;
    ULONG                cTransform;
    CRYPT_XML_ALGORITHM *rgTransform;
};

struct _CRYPT_XML_REFERENCES
{
    ULONG                 cReference;
    PCRYPT_XML_REFERENCE *rgpReference;
};

struct _CRYPT_XML_SIGNED_INFO
{
    ULONG                 cbSize;
    LPCWSTR               wszId;
    CRYPT_XML_ALGORITHM   Canonicalization;
    CRYPT_XML_ALGORITHM   SignatureMethod;
    ULONG                 cReference;
    PCRYPT_XML_REFERENCE *rgpReference;
    CRYPT_XML_BLOB        Encoded;
};

struct _CRYPT_XML_OBJECT
{
    ULONG                 cbSize;
    HCRYPTXML             hObject;
    LPCWSTR               wszId;
    LPCWSTR               wszMimeType;
    LPCWSTR               wszEncoding;
    CRYPT_XML_REFERENCES  Manifest;
    CRYPT_XML_BLOB        Encoded;
};

struct _CRYPT_XML_SIGNATURE
{
    ULONG                 cbSize;
    HCRYPTXML             hSignature;
    LPCWSTR               wszId;
    CRYPT_XML_SIGNED_INFO SignedInfo;
    CRYPT_DATA_BLOB       SignatureValue;
    CRYPT_XML_KEY_INFO   *pKeyInfo;
    ULONG                 cObject;
    PCRYPT_XML_OBJECT    *rgpObject;
};

struct _CRYPT_XML_DOC_CTXT
{
    ULONG                             cbSize;
    HCRYPTXML                         hDocCtxt;
    CRYPT_XML_TRANSFORM_CHAIN_CONFIG *pTransformsConfig;
    ULONG                             cSignature;
    PCRYPT_XML_SIGNATURE             *rgpSignature;
};

/* ------------------------------------------------------------------------
 * Cryptographic extension interface (implemented by extension DLLs)
 * ---------------------------------------------------------------------- */

typedef void *CRYPT_XML_DIGEST;

typedef HRESULT (WINAPI *CryptXmlDllGetAlgorithmInfo)(
    const CRYPT_XML_ALGORITHM  *pXmlAlgorithm,
    CRYPT_XML_ALGORITHM_INFO  **ppAlgInfo);

typedef HRESULT (WINAPI *CryptXmlDllEncodeAlgorithm)(
    const CRYPT_XML_ALGORITHM_INFO *pAlgInfo,
    CRYPT_XML_CHARSET               dwCharset,
    void                           *pvCallbackState,
    PFN_CRYPT_XML_WRITE_CALLBACK    pfnWrite);

typedef HRESULT (WINAPI *CryptXmlDllCreateDigest)(
    const CRYPT_XML_ALGORITHM *pDigestMethod,
    ULONG                     *pcbSize,
    CRYPT_XML_DIGEST          *phDigest);

typedef HRESULT (WINAPI *CryptXmlDllDigestData)(
    CRYPT_XML_DIGEST  hDigest,
    const BYTE       *pbData,
    ULONG             cbData);

typedef HRESULT (WINAPI *CryptXmlDllFinalizeDigest)(
    CRYPT_XML_DIGEST  hDigest,
    BYTE             *pbDigest,
    ULONG             cbDigest);

typedef HRESULT (WINAPI *CryptXmlDllCloseDigest)(
    CRYPT_XML_DIGEST  hDigest);

typedef HRESULT (WINAPI *CryptXmlDllSignData)(
    const CRYPT_XML_ALGORITHM       *pSignatureMethod,
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE  hCryptProvOrNCryptKey,
    DWORD                            dwKeySpec,
    const BYTE                      *pbInput,
    ULONG                            cbInput,
    BYTE                            *pbOutput,
    ULONG                            cbOutput,
    ULONG                           *pcbResult);

typedef HRESULT (WINAPI *CryptXmlDllVerifySignature)(
    const CRYPT_XML_ALGORITHM *pSignatureMethod,
    BCRYPT_KEY_HANDLE          hKey,
    const BYTE                *pbInput,
    ULONG                      cbInput,
    const BYTE                *pbSignature,
    ULONG                      cbSignature);

typedef HRESULT (WINAPI *CryptXmlDllCreateKey)(
    const CRYPT_XML_BLOB *pEncoded,
    BCRYPT_KEY_HANDLE    *phKey);

typedef HRESULT (WINAPI *CryptXmlDllEncodeKeyValue)(
    NCRYPT_KEY_HANDLE             hKey,
    CRYPT_XML_CHARSET             dwCharset,
    void                         *pvCallbackState,
    PFN_CRYPT_XML_WRITE_CALLBACK  pfnWrite);

struct _CRYPT_XML_CRYPTOGRAPHIC_INTERFACE
{
    ULONG                       cbSize;
    CryptXmlDllEncodeAlgorithm  fpCryptXmlEncodeAlgorithm;
    CryptXmlDllCreateDigest     fpCryptXmlCreateDigest;
    CryptXmlDllDigestData       fpCryptXmlDigestData;
    CryptXmlDllFinalizeDigest   fpCryptXmlFinalizeDigest;
    CryptXmlDllCloseDigest      fpCryptXmlCloseDigest;
    CryptXmlDllSignData         fpCryptXmlSignData;
    CryptXmlDllVerifySignature  fpCryptXmlVerifySignature;
    CryptXmlDllGetAlgorithmInfo fpCryptXmlGetAlgorithmInfo;
};

typedef HRESULT (WINAPI *CryptXmlDllGetInterface)(
    DWORD                              dwFlags,
    const CRYPT_XML_ALGORITHM_INFO    *pMethod,
    CRYPT_XML_CRYPTOGRAPHIC_INTERFACE *pInterface);

/* ------------------------------------------------------------------------
 * Namespace, algorithm and transform URIs
 * ---------------------------------------------------------------------- */

#define wszXMLNS_DIGSIG                        L"http://www.w3.org/2000/09/xmldsig#"
#define wszXMLNS_DIGSIG11                      L"http://www.w3.org/2009/xmldsig11#"
#define wszXMLNS_DIGSIG_SignatureProperties    L"http://www.w3.org/2000/09/xmldsig#SignatureProperties"
#define wszXMLNS_DIGSIG_Id                     L"Id"

#define wszURI_XMLNS_TRANSFORM_BASE64          L"http://www.w3.org/2000/09/xmldsig#base64"
#define wszURI_XMLNS_TRANSFORM_ENVELOPED       L"http://www.w3.org/2000/09/xmldsig#enveloped-signature"
#define wszURI_TRANSFORM_XPATH                 L"http://www.w3.org/TR/1999/REC-xpath-19991116"

#define wszURI_CANONICALIZATION_C14N           L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315"
#define wszURI_CANONICALIZATION_C14NC          L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments"
#define wszURI_CANONICALIZATION_EXSLUSIVE_C14N L"http://www.w3.org/2001/10/xml-exc-c14n#"
#define wszURI_CANONICALIZATION_EXSLUSIVE_C14NC L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments"

#define wszURI_XMLNS_DIGSIG_SHA1               L"http://www.w3.org/2000/09/xmldsig#sha1"
#define wszURI_XMLNS_DIGSIG_SHA256             L"http://www.w3.org/2001/04/xmlenc#sha256"
#define wszURI_XMLNS_DIGSIG_SHA384             L"http://www.w3.org/2001/04/xmldsig-more#sha384"
#define wszURI_XMLNS_DIGSIG_SHA512             L"http://www.w3.org/2001/04/xmlenc#sha512"

#define wszURI_XMLNS_DIGSIG_RSA_SHA1           L"http://www.w3.org/2000/09/xmldsig#rsa-sha1"
#define wszURI_XMLNS_DIGSIG_RSA_SHA256         L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha256"
#define wszURI_XMLNS_DIGSIG_RSA_SHA384         L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha384"
#define wszURI_XMLNS_DIGSIG_RSA_SHA512         L"http://www.w3.org/2001/04/xmldsig-more#rsa-sha512"

#define wszURI_XMLNS_DIGSIG_DSA_SHA1           L"http://www.w3.org/2000/09/xmldsig#dsa-sha1"

#define wszURI_XMLNS_DIGSIG_ECDSA_SHA1         L"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha1"
#define wszURI_XMLNS_DIGSIG_ECDSA_SHA256       L"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha256"
#define wszURI_XMLNS_DIGSIG_ECDSA_SHA384       L"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha384"
#define wszURI_XMLNS_DIGSIG_ECDSA_SHA512       L"http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha512"

#define wszURI_XMLNS_DIGSIG_HMAC_SHA1          L"http://www.w3.org/2000/09/xmldsig#hmac-sha1"
#define wszURI_XMLNS_DIGSIG_HMAC_SHA256        L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha256"
#define wszURI_XMLNS_DIGSIG_HMAC_SHA384        L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha384"
#define wszURI_XMLNS_DIGSIG_HMAC_SHA512        L"http://www.w3.org/2001/04/xmldsig-more#hmac-sha512"

/* ------------------------------------------------------------------------
 * Functions
 * ---------------------------------------------------------------------- */

CRYPTXMLAPI HRESULT WINAPI CryptXmlOpenToEncode(
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG *pConfig,
    DWORD                                   dwFlags,
    LPCWSTR                                 wszId,
    const CRYPT_XML_PROPERTY               *rgProperty,
    ULONG                                   cProperty,
    const CRYPT_XML_BLOB                   *pEncoded,
    HCRYPTXML                              *phSignature);

CRYPTXMLAPI HRESULT WINAPI CryptXmlOpenToDecode(
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG *pConfig,
    DWORD                                   dwFlags,
    const CRYPT_XML_PROPERTY               *rgProperty,
    ULONG                                   cProperty,
    const CRYPT_XML_BLOB                   *pEncoded,
    HCRYPTXML                              *phCryptXml);

CRYPTXMLAPI HRESULT WINAPI CryptXmlAddObject(
    HCRYPTXML                 hSignatureOrObject,
    DWORD                     dwFlags,
    const CRYPT_XML_PROPERTY *rgProperty,
    ULONG                     cProperty,
    const CRYPT_XML_BLOB     *pEncoded,
    const CRYPT_XML_OBJECT  **ppObject);

CRYPTXMLAPI HRESULT WINAPI CryptXmlCreateReference(
    HCRYPTXML                  hCryptXml,
    DWORD                      dwFlags,
    LPCWSTR                    wszId,
    LPCWSTR                    wszURI,
    LPCWSTR                    wszType,
    const CRYPT_XML_ALGORITHM *pDigestMethod,
    ULONG                      cTransform,
    const CRYPT_XML_ALGORITHM *rgTransform,
    HCRYPTXML                 *phReference);

CRYPTXMLAPI HRESULT WINAPI CryptXmlDigestReference(
    HCRYPTXML                hReference,
    DWORD                    dwFlags,
    CRYPT_XML_DATA_PROVIDER *pDataProviderIn);

CRYPTXMLAPI HRESULT WINAPI CryptXmlSetHMACSecret(
    HCRYPTXML    hSignature,
    const BYTE  *pbSecret,
    ULONG        cbSecret);

CRYPTXMLAPI HRESULT WINAPI CryptXmlSign(
    HCRYPTXML                        hSignature,
    HCRYPTPROV_OR_NCRYPT_KEY_HANDLE  hKey,
    DWORD                            dwKeySpec,
    DWORD                            dwFlags,
    CRYPT_XML_KEYINFO_SPEC           dwKeyInfoSpec,
    const void                      *pvKeyInfoSpec,
    const CRYPT_XML_ALGORITHM       *pSignatureMethod,
    const CRYPT_XML_ALGORITHM       *pCanonicalization);

CRYPTXMLAPI HRESULT WINAPI CryptXmlImportPublicKey(
    DWORD                      dwFlags,
    const CRYPT_XML_KEY_VALUE *pKeyValue,
    BCRYPT_KEY_HANDLE         *phKey);

CRYPTXMLAPI HRESULT WINAPI CryptXmlVerifySignature(
    HCRYPTXML          hSignature,
    BCRYPT_KEY_HANDLE  hKey,
    DWORD              dwFlags);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetDocContext(
    HCRYPTXML                  hCryptXml,
    const CRYPT_XML_DOC_CTXT **ppStruct);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetSignature(
    HCRYPTXML                   hCryptXml,
    const CRYPT_XML_SIGNATURE **ppStruct);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetReference(
    HCRYPTXML                   hCryptXml,
    const CRYPT_XML_REFERENCE **ppStruct);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetStatus(
    HCRYPTXML          hCryptXml,
    CRYPT_XML_STATUS  *pStatus);

CRYPTXMLAPI HRESULT WINAPI CryptXmlEncode(
    HCRYPTXML                     hCryptXml,
    CRYPT_XML_CHARSET             dwCharset,
    const CRYPT_XML_PROPERTY     *rgProperty,
    ULONG                         cProperty,
    void                         *pvCallbackState,
    PFN_CRYPT_XML_WRITE_CALLBACK  pfnWrite);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetAlgorithmInfo(
    const CRYPT_XML_ALGORITHM  *pXmlAlgorithm,
    DWORD                       dwFlags,
    CRYPT_XML_ALGORITHM_INFO  **ppAlgInfo);

CRYPTXMLAPI PCCRYPT_XML_ALGORITHM_INFO WINAPI CryptXmlFindAlgorithmInfo(
    DWORD        dwFindByType,
    const void  *pvFindBy,
    DWORD        dwGroupId,
    DWORD        dwFlags);

CRYPTXMLAPI HRESULT WINAPI CryptXmlEnumAlgorithmInfo(
    DWORD                        dwGroupId,
    DWORD                        dwFlags,
    void                        *pvArg,
    PFN_CRYPT_XML_ENUM_ALG_INFO  pfnEnumAlgInfo);

CRYPTXMLAPI HRESULT WINAPI CryptXmlGetTransforms(
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG **ppConfig);

CRYPTXMLAPI HRESULT WINAPI CryptXmlClose(
    HCRYPTXML  hCryptXml);

/* ========================================================================
 * talvoran-cryptxml64.dll additions
 *
 * Not part of the platform's CryptXML API; exported by this library only.
 * ======================================================================== */

/*
 * Key-value type of a GOST R 34.10-2001 public key.  The key value is the
 * GOSTKeyValue member of the CRYPT_XML_KEY_VALUE union: a CRYPT_XML_BLOB
 * that holds the complete GOST key value element as XML text (UTF-8,
 * UTF-16LE or UTF-16BE, as dwCharset says).
 */
#define CRYPT_XML_KEY_VALUE_TYPE_GOST  0x00000008

/*
 * CryptoAPI counterpart of CryptXmlImportPublicKey: imports a DSA, RSA or
 * GOST key value into a verification context acquired by the function.
 * On success the caller owns both handles and releases them with
 * CryptDestroyKey and CryptReleaseContext.  dwFlags is reserved.
 */
CRYPTXMLAPI HRESULT WINAPI CryptXmlImportPublicKeyCAPI(
    DWORD                      dwFlags,
    const CRYPT_XML_KEY_VALUE *pKeyValue,
    HCRYPTPROV                *phProv,
    HCRYPTKEY                 *phKey);

/*
 * CryptoAPI counterpart of CryptXmlVerifySignature.  Pass a provider and
 * a key (for example from CryptXmlImportPublicKeyCAPI), or neither to
 * verify with the key the signature itself supplies (HMAC secret).
 */
CRYPTXMLAPI HRESULT WINAPI CryptXmlVerifySignatureCAPI(
    HCRYPTXML   hSignature,
    HCRYPTPROV  hProv,
    HCRYPTKEY   hKey,
    DWORD       dwFlags);

/* Debug trace (lines go to OutputDebugStringW). */
CRYPTXMLAPI void WINAPI CryptXmlStartDebugging(void);

CRYPTXMLAPI void WINAPI CryptXmlStopDebugging(void);

/*
 * Returns TRUE (1) while the trace is on, FALSE (0) otherwise.  Declared
 * BOOL rather than HRESULT because the answer is 1 for yes: read as an
 * HRESULT, 1 would be S_FALSE.
 */
CRYPTXMLAPI BOOL WINAPI CryptXmlDebuggingIsStarted(void);

/*
 * Copies the last trace line into wszBuffer.  cchBuffer is the size of
 * the buffer in WCHARs, terminator included (a DWORD character count, as
 * in GetModuleFileNameW).  Returns E_POINTER for a NULL buffer,
 * E_INVALIDARG for a zero size, S_OK otherwise.
 */
CRYPTXMLAPI HRESULT WINAPI CryptXmlGetLastDebugMessage(
    LPWSTR  wszBuffer,
    DWORD   cchBuffer);

/* Closes every open handle and shuts the XML engine down. */
CRYPTXMLAPI void WINAPI CryptXmlCleanup(void);

/*
 * Redirection of the published functions to the system CryptXml.dll.
 * The queries answer S_OK for yes and S_FALSE for no, so they are
 * declared HRESULT; callers test for S_OK.
 *
 * CryptXmlEnableRedirection takes a BOOL switch (TRUE on, FALSE off) and
 * returns S_OK or CRYPT_XML_E_OPERATION (not available, or handles open).
 */
CRYPTXMLAPI HRESULT WINAPI CryptXmlEnableRedirection(
    BOOL  fEnable);

CRYPTXMLAPI HRESULT WINAPI CryptXmlRedirectionIsAvailable(void);

CRYPTXMLAPI HRESULT WINAPI CryptXmlRedirectionIsEnabled(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif /* TALVORAN_CRYPTXML_H */
