#include "Dictionary.hpp"

#include <algorithm>

namespace fuzz {
namespace {

const char* const kUris[] = {
    // Transforms and canonicalisations: some run, some are refused (no XPath engine).
    "http://www.w3.org/2000/09/xmldsig#enveloped-signature",
    "http://www.w3.org/2000/09/xmldsig#base64",
    "http://www.w3.org/TR/2001/REC-xml-c14n-20010315",
    "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments",
    "http://www.w3.org/2001/10/xml-exc-c14n#",
    "http://www.w3.org/2001/10/xml-exc-c14n#WithComments",
    "http://www.w3.org/2006/12/xml-c14n11",
    "http://www.w3.org/2006/12/xml-c14n11#WithComments",
    "http://www.w3.org/TR/1999/REC-xpath-19991116",
    "http://www.w3.org/2002/06/xmldsig-filter2",
    "http://www.w3.org/TR/1999/REC-xslt-19991116",
    "http://www.w3.org/2000/09/xmldsig#Manifest",
    "http://www.w3.org/2000/09/xmldsig#Object",
    "http://www.w3.org/2000/09/xmldsig#rawX509Certificate",
    "http://www.w3.org/2000/09/xmldsig#X509Data",
    "http://www.w3.org/2000/09/xmldsig#DSAKeyValue",
    "http://www.w3.org/2000/09/xmldsig#RSAKeyValue",
    // Names close to real ones, and ones nobody knows.
    "http://www.w3.org/2000/09/xmldsig#",
    "http://www.w3.org/2000/09/xmldsig#rsa-sha1 ",
    "http://www.w3.org/2001/04/xmldsig-more#rsa-md5",
    "http://www.w3.org/2001/04/xmldsig-more#ecdsa-sha256",
    "http://www.w3.org/2009/xmldsig11#dsa-sha256",
    "http://www.w3.org/2007/05/xmldsig-more#sha256-rsa-MGF1",
    "urn:ietf:params:xml:ns:cpxmlsec:algorithms:",
    "",
    "#",
    "x",
};

const char* const kAttributeValues[] = {
    "",
    " ",
    "#",
    "##",
    "#x",
    "#id",
    "#obj",
    "#object",
    "#xpointer(/)",
    "#xpointer(id('object'))",
    "#xpointer(id(\"x\"))",
    "#xpointer(",
    "xpointer(/)",
    "http://www.w3.org/TR/xml-stylesheet",
    "http://www.w3.org/Signature/2002/04/xml-stylesheet.b64",
    "http://example.org/data",
    "file:///etc/passwd",
    "data:,hello",
    "urn:x",
    "0",
    "1",
    "-1",
    "80",
    "81",
    "160",
    "4294967295",
    "4294967296",
    "99999999999999999999",
    "0x10",
    "1e3",
    "text/xml",
    "base64",
    "UTF-8",
    "utf-16",
    "&amp;",
    "&#x26;",
    "&lt;",
    "a b",
    "a:b",
    "_",
    "Id",
    "ID",
    "\xC3\xA9",
    "\xEF\xBF\xBF",
    "%s%n%s%n",
    "%x%x%x%x",
    "{0}",
    "\\\\server\\share",
    "..\\..\\x",
    "x\ty",
};

const char* const kSnippets[] = {
    "<KeyInfo><KeyName>k</KeyName></KeyInfo>",
    "<KeyValue><RSAKeyValue><Modulus>AQAB</Modulus><Exponent>AQAB</Exponent></RSAKeyValue></KeyValue>",
    "<KeyValue><RSAKeyValue><Modulus/><Exponent/></RSAKeyValue></KeyValue>",
    "<KeyValue><DSAKeyValue><P>AQ==</P><Q>AQ==</Q><G>AQ==</G><Y>AQ==</Y></DSAKeyValue></KeyValue>",
    "<KeyValue><DSAKeyValue><Y>AQ==</Y></DSAKeyValue></KeyValue>",
    "<KeyValue><GOSTKeyValue><PublicKeyParameters><publicKeyParamSet>urn:oid:1.2.643.2.2.35.1"
    "</publicKeyParamSet><digestParamSet>urn:oid:1.2.643.2.2.30.1</digestParamSet></PublicKeyParameters>"
    "<PublicKey>AAAA</PublicKey></GOSTKeyValue></KeyValue>",
    "<KeyValue><ECKeyValue xmlns=\"http://www.w3.org/2009/xmldsig11#\">"
    "<NamedCurve URI=\"urn:oid:1.2.840.10045.3.1.7\"/>"
    "<PublicKey>AAAA</PublicKey></ECKeyValue></KeyValue>",
    "<KeyValue>text</KeyValue>",
    "<X509Data><X509Certificate>MIIB</X509Certificate></X509Data>",
    "<X509Data><X509IssuerSerial><X509IssuerName>CN=x</X509IssuerName></X509IssuerSerial></X509Data>",
    "<X509Data><X509IssuerSerial><X509SerialNumber>1</X509SerialNumber></X509IssuerSerial></X509Data>",
    "<X509Data><X509IssuerSerial><X509IssuerName>CN=x</X509IssuerName><X509SerialNumber>-1</X509SerialNumber>"
    "</X509IssuerSerial><X509SKI>AAEC</X509SKI><X509SubjectName>CN=y</X509SubjectName><X509CRL>MIIB</X509CRL>"
    "<Other xmlns=\"urn:x\"/></X509Data>",
    "<X509Data/>",
    "<RetrievalMethod URI=\"#x\" Type=\"http://www.w3.org/2000/09/xmldsig#X509Data\"/>",
    "<RetrievalMethod URI=\"#x\"><Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#base64\"/>"
    "</Transforms></RetrievalMethod>",
    "<PGPData><PGPKeyID>AQ==</PGPKeyID></PGPData>",
    "<SPKIData><SPKISexp>AQ==</SPKISexp></SPKIData>",
    "<MgmtData>m</MgmtData>",
    "<Transforms><Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/></Transforms>",
    "<Transform Algorithm=\"http://www.w3.org/TR/1999/REC-xpath-19991116\"><XPath>self::text()</XPath></Transform>",
    "<Transform Algorithm=\"http://www.w3.org/2002/06/xmldsig-filter2\"><XPath xmlns=\"http://www.w3.org/2002/06/"
    "xmldsig-filter2\" Filter=\"intersect\">//x</XPath></Transform>",
    "<Transform Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"><InclusiveNamespaces xmlns=\"http://www.w3."
    "org/2001/10/xml-exc-c14n#\" PrefixList=\"#default ds xsi\"/></Transform>",
    "<Transform Algorithm=\"http://www.w3.org/2000/09/xmldsig#base64\"/>",
    "<Transform/>",
    "<Reference URI=\"\"><DigestMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#sha1\"/>"
    "<DigestValue>AAAAAAAAAAAAAAAAAAAAAAAAAAA=</DigestValue></Reference>",
    "<Reference URI=\"#object\" Type=\"http://www.w3.org/2000/09/xmldsig#Manifest\"><DigestMethod "
    "Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha256\"/><DigestValue/></Reference>",
    "<Reference URI=\"http://example.org/data\"><DigestMethod Algorithm=\"http://www.w3.org/2001/04/xmlenc#sha512\"/>"
    "<DigestValue>AA==</DigestValue></Reference>",
    "<Reference><DigestMethod/><DigestValue/></Reference>",
    "<Object Id=\"object\">data</Object>",
    "<Object Id=\"object\"><Manifest><Reference URI=\"#object\"><DigestMethod Algorithm=\"http://www.w3.org/2000/09/"
    "xmldsig#sha1\"/><DigestValue>AA==</DigestValue></Reference></Manifest></Object>",
    "<Object><SignatureProperties><SignatureProperty Target=\"#x\">p</SignatureProperty></SignatureProperties>"
    "</Object>",
    "<Object MimeType=\"text/plain\" Encoding=\"http://www.w3.org/2000/09/xmldsig#base64\">AQID</Object>",
    "<SignatureMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#hmac-sha1\"><HMACOutputLength>8"
    "</HMACOutputLength></SignatureMethod>",
    "<HMACOutputLength>0</HMACOutputLength>",
    "<HMACOutputLength>-8</HMACOutputLength>",
    "<HMACOutputLength>4294967304</HMACOutputLength>",
    "<SignatureValue/>",
    "<SignatureValue>====</SignatureValue>",
    "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"/>",
    "<Signature xmlns=\"http://www.w3.org/2000/09/xmldsig#\"><SignedInfo/></Signature>",
    "<ds:Signature xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"><ds:SignedInfo><ds:CanonicalizationMethod "
    "Algorithm=\"http://www.w3.org/2001/10/xml-exc-c14n#\"/><ds:SignatureMethod Algorithm=\"http://www.w3.org/"
    "2000/09/xmldsig#hmac-sha1\"/></ds:SignedInfo><ds:SignatureValue>AAAA</ds:SignatureValue></ds:Signature>",
};

const char* const kTokens[] = {
    "<",
    ">",
    "/>",
    "</",
    "<!--",
    "-->",
    "<?",
    "?>",
    "<![CDATA[",
    "]]>",
    "&",
    ";",
    "\"",
    "'",
    "=",
    " ",
    "\n",
    "\r",
    "\t",
    "\0",
    "&amp;",
    "&lt;",
    "&#0;",
    "&#x10FFFF;",
    "&#xD800;",
    "&undefined;",
    "&a;",
    "<!DOCTYPE d [<!ENTITY a \"aaaaaaaaaa\">]>",
    "<!DOCTYPE d [<!ATTLIST Signature Id ID #IMPLIED>]>",
    "<!DOCTYPE d SYSTEM \"http://example.org/d.dtd\">",
    "<!ENTITY x SYSTEM \"file:///etc/passwd\">",
    "<?xml version=\"1.0\" encoding=\"UTF-16\"?>",
    "<?xml version=\"1.1\"?>",
    "<?xml-stylesheet href=\"x\"?>",
    "xmlns=\"\"",
    "xmlns=\"http://www.w3.org/2000/09/xmldsig#\"",
    "xmlns:ds=\"http://www.w3.org/2000/09/xmldsig#\"",
    "xmlns:dsig11=\"http://www.w3.org/2009/xmldsig11#\"",
    "xml:space=\"preserve\"",
    "xml:base=\"http://x/\"",
    "xml:id=\"x\"",
    "Id=\"x\"",
    "ID=\"x\"",
    "id=\"x\"",
    "ds:",
    "xsi:",
    "\xEF\xBB\xBF",
    "\xFF\xFE",
    "\xFE\xFF",
    "\xC0\x80",
    "\xED\xA0\x80",
    "\xF4\x90\x80\x80",
};

const char* const kElementNames[] = {
    "Signature",
    "SignedInfo",
    "CanonicalizationMethod",
    "SignatureMethod",
    "Reference",
    "Transforms",
    "Transform",
    "DigestMethod",
    "DigestValue",
    "SignatureValue",
    "KeyInfo",
    "KeyName",
    "KeyValue",
    "RSAKeyValue",
    "DSAKeyValue",
    "GOSTKeyValue",
    "Modulus",
    "Exponent",
    "P",
    "Q",
    "G",
    "Y",
    "J",
    "Seed",
    "PgenCounter",
    "X509Data",
    "X509Certificate",
    "X509CRL",
    "X509SKI",
    "X509SubjectName",
    "X509IssuerSerial",
    "X509IssuerName",
    "X509SerialNumber",
    "RetrievalMethod",
    "Object",
    "Manifest",
    "SignatureProperties",
    "HMACOutputLength",
    "XPath",
    "PublicKey",
    "PublicKeyParameters",
    "ds:Signature",
    "ds:Reference",
    "x",
};

}  // namespace

Dictionary::Dictionary()
    : uris_(std::begin(kUris), std::end(kUris)),
      attributeValues_(std::begin(kAttributeValues), std::end(kAttributeValues)),
      snippets_(std::begin(kSnippets), std::end(kSnippets)),
      elementNames_(std::begin(kElementNames), std::end(kElementNames)) {
    for (const char* token : kTokens) {
        // The one token that is a NUL byte: the literal's length is 0.
        tokens_.push_back(*token == '\0' ? std::string(1, '\0') : std::string(token));
    }
}

void Dictionary::AddUri(const std::string& uri) {
    if (std::find(uris_.begin(), uris_.end(), uri) == uris_.end()) uris_.push_back(uri);
}

}  // namespace fuzz
