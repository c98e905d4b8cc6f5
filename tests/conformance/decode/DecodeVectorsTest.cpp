// Decodes the signed documents of the xmlsec1 suites and the project's own GOST documents with
// CryptXmlOpenToDecode and compares every published field with what an independent reader
// (expect.py, Python's ElementTree) found in the document. Each vector is opened twice: as the
// bytes stand (CRYPT_XML_CHARSET_AUTO) and converted to UTF-16LE. Robustness cases follow.
#include <gtest/gtest.h>

#include <windows.h>

#include <cryptxml.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "support/HostFiles.hpp"
#include "support/CryptXmlDll.hpp"

#ifndef TALVORAN_VECTORS_EXPECT
#error "TALVORAN_VECTORS_EXPECT (path of the expectation file) must be defined"
#endif
#ifndef TALVORAN_VECTORS_REPORT
#error "TALVORAN_VECTORS_REPORT (path of the report file) must be defined"
#endif

namespace {

using Bytes = std::vector<unsigned char>;
using OptStr = std::optional<std::string>;

constexpr HRESULT kInvalidFormat = static_cast<HRESULT>(0x803D0000);
constexpr HRESULT kTooManySignatures = static_cast<HRESULT>(0x8009210E);
constexpr HRESULT kIdConflict = static_cast<HRESULT>(0x80092112);
constexpr DWORD kGostKeyValueType = 8;

// ---------------------------------------------------------------------------------------
// Paths: the build passes host paths; Wine sees the host's root as drive Z:.
using testing_support::WinPath;

bool ReadFile(const std::string& path, Bytes& out) { return testing_support::ReadHostFile(path, out); }

std::wstring Widen(const std::string& utf8) { return testing_support::WidenUtf8(utf8); }

std::string Narrow(const wchar_t* w) {
    if (w == nullptr) return "<null>";
    const int n = ::WideCharToMultiByte(CP_UTF8, 0, w, -1, nullptr, 0, nullptr, nullptr);
    std::string s(static_cast<size_t>(n > 0 ? n - 1 : 0), '\0');
    if (n > 1) ::WideCharToMultiByte(CP_UTF8, 0, w, -1, &s[0], n, nullptr, nullptr);
    return s;
}

std::string Hex(HRESULT hr) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08lX", static_cast<unsigned long>(hr));
    return buf;
}

Bytes FromHex(const std::string& hex) {
    Bytes out;
    for (size_t i = 0; i + 1 < hex.size(); i += 2)
        out.push_back(static_cast<unsigned char>(std::stoi(hex.substr(i, 2), nullptr, 16)));
    return out;
}

OptStr DecodeStr(const std::string& token) {
    if (token == "-") return std::nullopt;
    const Bytes b = FromHex(token.substr(1));
    return std::string(b.begin(), b.end());
}

Bytes DecodeBytes(const std::string& token) { return FromHex(token.substr(1)); }

// ---------------------------------------------------------------------------------------
// The expectation file written by expect.py.
struct ExpRef {
    OptStr uri, id, type, digestMethod;
    Bytes digest;
    std::vector<OptStr> transforms;
};
struct ExpX509Item {
    std::string kind;  // XC XL XS XI XK XU
    Bytes data;
    OptStr a, b;
};
struct ExpKeyItem {
    std::string kind;  // KN KR KD KG KM KC KX
    OptStr text;
    std::vector<Bytes> parts;
    std::vector<ExpX509Item> x509;
};
struct ExpObj {
    OptStr id, mimeType, encoding;
    std::vector<ExpRef> refs;
};
struct ExpSig {
    OptStr id, c14n, method;
    Bytes value;
    size_t nref = 0, nobj = 0;
    DWORD status = 0;
    size_t nkey = 0;
    std::vector<ExpKeyItem> keys;
    std::vector<ExpRef> refs;
    std::vector<ExpObj> objs;
};
struct Vector {
    std::string name, path;
    bool opens = false;
    HRESULT hr = S_OK;
    std::string reason;
    std::vector<std::string> uncertain;
    size_t nsig = 0;
    std::vector<ExpSig> sigs;
};

std::vector<std::string> Split(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> t;
    for (std::string w; in >> w;) t.push_back(w);
    return t;
}

std::vector<Vector> LoadVectors(std::string& error) {
    std::vector<Vector> vectors;
    std::ifstream in(WinPath(TALVORAN_VECTORS_EXPECT));
    if (!in) {
        error = std::string("cannot read ") + TALVORAN_VECTORS_EXPECT;
        return vectors;
    }
    ExpRef* lastRef = nullptr;
    std::vector<ExpRef>* refList = nullptr;
    ExpKeyItem* lastX509 = nullptr;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        const std::vector<std::string> t = Split(line);
        if (t.empty()) continue;
        const std::string& k = t[0];
        if (k == "V") {
            vectors.emplace_back();
            vectors.back().name = t.at(1);
            vectors.back().path = line.substr(line.find(t.at(1)) + t.at(1).size() + 1);
            continue;
        }
        if (vectors.empty()) continue;
        Vector& v = vectors.back();
        if (k == "E") {
            v.opens = t.at(1) == "opens";
            if (!v.opens) {
                v.hr = static_cast<HRESULT>(std::stoul(t.at(2), nullptr, 16));
                const size_t at = line.find(t.at(2)) + t.at(2).size();
                v.reason = at < line.size() ? line.substr(at + 1) : "";
            }
        } else if (k == "U") {
            v.uncertain.push_back(line.substr(2));
        } else if (k == "N") {
            v.nsig = std::stoul(t.at(1));
        } else if (k == "S") {
            v.sigs.emplace_back();
            ExpSig& s = v.sigs.back();
            s.id = DecodeStr(t.at(1));
            s.c14n = DecodeStr(t.at(2));
            s.method = DecodeStr(t.at(3));
            s.value = DecodeBytes(t.at(4));
            s.nref = std::stoul(t.at(5));
            s.nobj = std::stoul(t.at(6));
            s.status = std::stoul(t.at(7));
            refList = &s.refs;
            lastX509 = nullptr;
        } else if (k == "K") {
            v.sigs.back().nkey = std::stoul(t.at(1));
        } else if (k[0] == 'K') {
            ExpSig& s = v.sigs.back();
            s.keys.emplace_back();
            ExpKeyItem& item = s.keys.back();
            item.kind = k;
            lastX509 = nullptr;
            if (k == "KN" || k == "KM" || k == "KC") item.text = DecodeStr(t.at(1));
            for (size_t i = 1; (k == "KR" || k == "KD") && i < t.size(); ++i) item.parts.push_back(DecodeBytes(t[i]));
            if (k == "KX") lastX509 = &item;
        } else if (k[0] == 'X' && lastX509 != nullptr) {
            ExpX509Item it;
            it.kind = k;
            if (k == "XC" || k == "XL" || k == "XK") it.data = DecodeBytes(t.at(1));
            if (k == "XS" || k == "XU") it.a = DecodeStr(t.at(1));
            if (k == "XI") {
                it.a = DecodeStr(t.at(1));
                it.b = DecodeStr(t.at(2));
            }
            lastX509->x509.push_back(it);
        } else if (k == "R") {
            refList->emplace_back();
            ExpRef& r = refList->back();
            r.uri = DecodeStr(t.at(1));
            r.id = DecodeStr(t.at(2));
            r.type = DecodeStr(t.at(3));
            r.digestMethod = DecodeStr(t.at(4));
            r.digest = DecodeBytes(t.at(5));
            lastRef = &r;
        } else if (k == "T") {
            lastRef->transforms.push_back(DecodeStr(t.at(1)));
        } else if (k == "O") {
            ExpSig& s = v.sigs.back();
            s.objs.emplace_back();
            ExpObj& o = s.objs.back();
            o.id = DecodeStr(t.at(1));
            o.mimeType = DecodeStr(t.at(2));
            o.encoding = DecodeStr(t.at(3));
            refList = &o.refs;
        }
    }
    if (vectors.empty()) error = std::string("no vectors in ") + TALVORAN_VECTORS_EXPECT;
    return vectors;
}

const std::vector<Vector>& Vectors() {
    static std::string error;
    static const std::vector<Vector> vectors = LoadVectors(error);
    return vectors;
}

// ---------------------------------------------------------------------------------------
// The report table.
struct Row {
    std::string vector, expected, outcome;
};
std::vector<Row>& Rows() {
    static std::vector<Row> rows;
    return rows;
}

class ReportWriter : public ::testing::Environment {
public:
    void TearDown() override {
        size_t w1 = 6, w2 = 8;
        for (const Row& r : Rows()) {
            w1 = std::max(w1, r.vector.size());
            w2 = std::max(w2, r.expected.size());
        }
        std::ostringstream out;
        auto line = [&](const std::string& a, const std::string& b, const std::string& c) {
            out << a << std::string(w1 - a.size() + 2, ' ') << b << std::string(w2 - b.size() + 2, ' ') << c << "\n";
        };
        line("vector", "expected", "outcome");
        line(std::string(w1, '-'), std::string(w2, '-'), "-------");
        for (const Row& r : Rows()) line(r.vector, r.expected, r.outcome);
        std::fputs(out.str().c_str(), stdout);
        std::ofstream file(WinPath(TALVORAN_VECTORS_REPORT), std::ios::binary);
        file << out.str();
    }
};
const auto* const kReport = ::testing::AddGlobalTestEnvironment(new ReportWriter);

// ---------------------------------------------------------------------------------------
// Helpers on the published structures.
class Checker {
public:
    std::vector<std::string> problems;

    void Fail(const std::string& where, const std::string& what) { problems.push_back(where + ": " + what); }

    void Str(const std::string& where, const OptStr& expected, const wchar_t* actual) {
        if (!expected) {
            if (actual != nullptr) Fail(where, "expected NULL, got \"" + Narrow(actual) + "\"");
            return;
        }
        if (actual == nullptr) {
            Fail(where, "expected \"" + *expected + "\", got NULL");
            return;
        }
        if (Widen(*expected) != actual) Fail(where, "expected \"" + *expected + "\", got \"" + Narrow(actual) + "\"");
    }

    void Blob(const std::string& where, const Bytes& expected, ULONG cb, const BYTE* pb) {
        if (cb != expected.size() || (cb != 0 && (pb == nullptr || std::memcmp(pb, expected.data(), cb) != 0))) {
            Fail(where, "bytes differ (expected " + std::to_string(expected.size()) + " bytes, got " +
                            std::to_string(cb) + ")");
        }
    }

    // The serialised element of a custom / retrieval item names the element.
    void Contains(const std::string& where, const CRYPT_XML_BLOB& blob, const std::string& ascii) {
        if (blob.cbData == 0 || blob.pbData == nullptr) {
            Fail(where, "empty blob");
            return;
        }
        const std::string hay(reinterpret_cast<const char*>(blob.pbData), blob.cbData);
        std::string le, be;
        for (char c : ascii) {
            le += c, le += '\0';
            be += '\0', be += c;
        }
        if (hay.find(ascii) == std::string::npos && hay.find(le) == std::string::npos &&
            hay.find(be) == std::string::npos) {
            Fail(where, "serialised element does not contain \"" + ascii + "\"");
        }
    }

    void Reference(const std::string& where, const ExpRef& e, const CRYPT_XML_REFERENCE* r,
                   const testing_support::CryptXmlDll& api) {
        if (r == nullptr) {
            Fail(where, "NULL reference");
            return;
        }
        Str(where + " Uri", e.uri, r->wszUri);
        Str(where + " Id", e.id, r->wszId);
        Str(where + " Type", e.type, r->wszType);
        Str(where + " DigestMethod", e.digestMethod, r->DigestMethod.wszAlgorithm);
        Blob(where + " DigestValue", e.digest, r->DigestValue.cbData, r->DigestValue.pbData);
        if (r->cTransform != e.transforms.size()) {
            Fail(where,
                 "cTransform " + std::to_string(r->cTransform) + ", expected " + std::to_string(e.transforms.size()));
        } else {
            for (size_t i = 0; i < e.transforms.size(); ++i) {
                const CRYPT_XML_ALGORITHM& t = r->rgTransform[i];
                const std::string w = where + " Transform[" + std::to_string(i) + "]";
                // XPath transforms are published by their element (Encoded), without wszAlgorithm.
                if (t.wszAlgorithm == nullptr && e.transforms[i]) {
                    Contains(w + " Encoded", t.Encoded, *e.transforms[i]);
                } else {
                    Str(w, e.transforms[i], t.wszAlgorithm);
                }
            }
        }
        const CRYPT_XML_REFERENCE* again = nullptr;
        const HRESULT hr = api.GetReference(r->hReference, &again);
        if (hr != S_OK || again != r) Fail(where, "CryptXmlGetReference gave " + Hex(hr) + " / another structure");
    }

    void X509(const std::string& where, const std::vector<ExpX509Item>& e, const CRYPT_XML_X509DATA& x) {
        if (x.cX509Data != e.size()) {
            Fail(where, "cX509Data " + std::to_string(x.cX509Data) + ", expected " + std::to_string(e.size()));
            return;
        }
        for (size_t i = 0; i < e.size(); ++i) {
            const CRYPT_XML_X509DATA_ITEM& it = x.rgX509Data[i];
            const std::string w = where + " item[" + std::to_string(i) + "] " + e[i].kind;
            const std::string& k = e[i].kind;
            const DWORD type = k == "XC"   ? CRYPT_XML_X509DATA_TYPE_CERTIFICATE
                               : k == "XL" ? CRYPT_XML_X509DATA_TYPE_CRL
                               : k == "XS" ? CRYPT_XML_X509DATA_TYPE_SUBJECT_NAME
                               : k == "XI" ? CRYPT_XML_X509DATA_TYPE_ISSUER_SERIAL
                               : k == "XK" ? CRYPT_XML_X509DATA_TYPE_SKI
                                           : CRYPT_XML_X509DATA_TYPE_CUSTOM;
            if (it.dwType != type) {
                Fail(w, "dwType " + std::to_string(it.dwType) + ", expected " + std::to_string(type));
                continue;
            }
            if (k == "XC") Blob(w, e[i].data, it.Certificate.cbData, it.Certificate.pbData);
            if (k == "XL") Blob(w, e[i].data, it.CRL.cbData, it.CRL.pbData);
            if (k == "XK") Blob(w, e[i].data, it.SKI.cbData, it.SKI.pbData);
            if (k == "XS") Str(w, e[i].a, it.wszSubjectName);
            if (k == "XI") {
                Str(w + " issuer", e[i].a, it.IssuerSerial.wszIssuer);
                Str(w + " serial", e[i].b, it.IssuerSerial.wszSerial);
            }
            if (k == "XU") Contains(w, it.Custom, *e[i].a);
        }
    }

    void KeyInfo(const std::string& where, const ExpSig& e, const CRYPT_XML_KEY_INFO* ki) {
        if (e.nkey == 0) {
            if (ki != nullptr) Fail(where, "pKeyInfo is not NULL (" + std::to_string(ki->cKeyInfo) + " items)");
            return;
        }
        if (ki == nullptr) {
            Fail(where, "pKeyInfo is NULL, expected " + std::to_string(e.nkey) + " items");
            return;
        }
        if (ki->cKeyInfo != e.keys.size()) {
            Fail(where, "cKeyInfo " + std::to_string(ki->cKeyInfo) + ", expected " + std::to_string(e.keys.size()));
            return;
        }
        for (size_t i = 0; i < e.keys.size(); ++i) {
            const ExpKeyItem& x = e.keys[i];
            const CRYPT_XML_KEY_INFO_ITEM& it = ki->rgKeyInfo[i];
            const std::string w = where + " item[" + std::to_string(i) + "] " + x.kind;
            DWORD type = CRYPT_XML_KEYINFO_TYPE_CUSTOM;
            if (x.kind == "KN") type = CRYPT_XML_KEYINFO_TYPE_KEYNAME;
            if (x.kind == "KR" || x.kind == "KD" || x.kind == "KG") type = CRYPT_XML_KEYINFO_TYPE_KEYVALUE;
            if (x.kind == "KM") type = CRYPT_XML_KEYINFO_TYPE_RETRIEVAL;
            if (x.kind == "KX") type = CRYPT_XML_KEYINFO_TYPE_X509DATA;
            if (it.dwType != type) {
                Fail(w, "dwType " + std::to_string(it.dwType) + ", expected " + std::to_string(type));
                continue;
            }
            if (x.kind == "KN") Str(w, x.text, it.wszKeyName);
            if (x.kind == "KR") {
                if (it.KeyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_RSA) {
                    Fail(w, "KeyValue.dwType " + std::to_string(it.KeyValue.dwType));
                } else {
                    Blob(w + " Modulus", x.parts.at(0), it.KeyValue.RSAKeyValue.Modulus.cbData,
                         it.KeyValue.RSAKeyValue.Modulus.pbData);
                    Blob(w + " Exponent", x.parts.at(1), it.KeyValue.RSAKeyValue.Exponent.cbData,
                         it.KeyValue.RSAKeyValue.Exponent.pbData);
                }
            }
            if (x.kind == "KD") {
                if (it.KeyValue.dwType != CRYPT_XML_KEY_VALUE_TYPE_DSA) {
                    Fail(w, "KeyValue.dwType " + std::to_string(it.KeyValue.dwType));
                } else {
                    const CRYPT_XML_KEY_DSA_KEY_VALUE& d = it.KeyValue.DSAKeyValue;
                    Blob(w + " P", x.parts.at(0), d.P.cbData, d.P.pbData);
                    Blob(w + " Q", x.parts.at(1), d.Q.cbData, d.Q.pbData);
                    Blob(w + " G", x.parts.at(2), d.G.cbData, d.G.pbData);
                    Blob(w + " Y", x.parts.at(3), d.Y.cbData, d.Y.pbData);
                }
            }
            if (x.kind == "KG") {
                if (it.KeyValue.dwType != kGostKeyValueType)
                    Fail(w, "KeyValue.dwType " + std::to_string(it.KeyValue.dwType));
                else
                    Contains(w, it.KeyValue.GOSTKeyValue, "GOSTKeyValue");
            }
            if (x.kind == "KM") Contains(w, it.RetrievalMethod, "RetrievalMethod");
            if (x.kind == "KC") Contains(w, it.Custom, *x.text);
            if (x.kind == "KX") X509(w, x.x509, it.X509Data);
        }
    }
};

// Opens the blob, compares it with the vector's expectation, closes it. Returns the HRESULT.
HRESULT DecodeAndCompare(const Vector& v, const CRYPT_XML_BLOB& blob, Checker& c) {
    const testing_support::CryptXmlDll& api = testing_support::CryptXmlDll::Get();
    HCRYPTXML doc = nullptr;
    const HRESULT hr = api.OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc);
    if (!v.opens) {
        if (hr != v.hr) c.Fail("open", "expected " + Hex(v.hr) + " (" + v.reason + "), got " + Hex(hr));
        if (SUCCEEDED(hr) && doc != nullptr) api.Close(doc);
        return hr;
    }
    if (hr != S_OK) {
        c.Fail("open", "expected S_OK, got " + Hex(hr));
        return hr;
    }
    const CRYPT_XML_DOC_CTXT* ctx = nullptr;
    HRESULT h = api.GetDocContext(doc, &ctx);
    if (h != S_OK || ctx == nullptr) {
        c.Fail("GetDocContext", Hex(h));
    } else if (ctx->cSignature != v.sigs.size()) {
        c.Fail("cSignature", std::to_string(ctx->cSignature) + ", expected " + std::to_string(v.sigs.size()));
    } else {
        DWORD anyUnresolved = 0;
        for (size_t i = 0; i < v.sigs.size(); ++i) {
            const ExpSig& e = v.sigs[i];
            const std::string w = "sig[" + std::to_string(i) + "]";
            const CRYPT_XML_SIGNATURE* s = ctx->rgpSignature[i];
            if (s == nullptr) {
                c.Fail(w, "NULL");
                continue;
            }
            const CRYPT_XML_SIGNATURE* again = nullptr;
            h = api.GetSignature(s->hSignature, &again);
            if (h != S_OK || again != s) c.Fail(w, "CryptXmlGetSignature gave " + Hex(h) + " / another structure");
            c.Str(w + " Id", e.id, s->wszId);
            c.Str(w + " CanonicalizationMethod", e.c14n, s->SignedInfo.Canonicalization.wszAlgorithm);
            c.Str(w + " SignatureMethod", e.method, s->SignedInfo.SignatureMethod.wszAlgorithm);
            c.Blob(w + " SignatureValue", e.value, s->SignatureValue.cbData, s->SignatureValue.pbData);
            c.KeyInfo(w + " KeyInfo", e, s->pKeyInfo);
            if (s->SignedInfo.cReference != e.refs.size()) {
                c.Fail(w, "cReference " + std::to_string(s->SignedInfo.cReference) + ", expected " +
                              std::to_string(e.refs.size()));
            } else {
                for (size_t r = 0; r < e.refs.size(); ++r) {
                    c.Reference(w + " ref[" + std::to_string(r) + "]", e.refs[r], s->SignedInfo.rgpReference[r], api);
                }
            }
            if (s->cObject != e.objs.size()) {
                c.Fail(w, "cObject " + std::to_string(s->cObject) + ", expected " + std::to_string(e.objs.size()));
            } else {
                for (size_t o = 0; o < e.objs.size(); ++o) {
                    const std::string wo = w + " obj[" + std::to_string(o) + "]";
                    const CRYPT_XML_OBJECT* obj = s->rgpObject[o];
                    if (obj == nullptr) {
                        c.Fail(wo, "NULL");
                        continue;
                    }
                    c.Str(wo + " Id", e.objs[o].id, obj->wszId);
                    c.Str(wo + " MimeType", e.objs[o].mimeType, obj->wszMimeType);
                    c.Str(wo + " Encoding", e.objs[o].encoding, obj->wszEncoding);
                    if (obj->Manifest.cReference != e.objs[o].refs.size()) {
                        c.Fail(wo, "Manifest.cReference " + std::to_string(obj->Manifest.cReference) + ", expected " +
                                       std::to_string(e.objs[o].refs.size()));
                    } else {
                        for (size_t r = 0; r < e.objs[o].refs.size(); ++r) {
                            c.Reference(wo + " manifest ref[" + std::to_string(r) + "]", e.objs[o].refs[r],
                                        obj->Manifest.rgpReference[r], api);
                        }
                    }
                }
            }
            CRYPT_XML_STATUS st = {};
            st.cbSize = sizeof st;
            h = api.GetStatus(s->hSignature, &st);
            if (h != S_OK)
                c.Fail(w + " GetStatus", Hex(h));
            else if (st.dwErrorStatus != e.status)
                c.Fail(w + " status", "error word " + Hex(st.dwErrorStatus) + ", expected " + Hex(e.status));
            anyUnresolved |= e.status & CRYPT_XML_STATUS_ERROR_NOT_RESOLVED;
        }
        CRYPT_XML_STATUS st = {};
        st.cbSize = sizeof st;
        h = api.GetStatus(doc, &st);
        if (h != S_OK)
            c.Fail("document GetStatus", Hex(h));
        else if ((st.dwErrorStatus & CRYPT_XML_STATUS_ERROR_NOT_RESOLVED) != anyUnresolved)
            c.Fail("document status", "error word " + Hex(st.dwErrorStatus));
    }
    h = api.Close(doc);
    if (h != S_OK) c.Fail("CryptXmlClose", Hex(h));
    return hr;
}

// Re-encodes a document as UTF-16LE: the declared (or BOM) encoding is converted with
// MultiByteToWideChar and the XML declaration is dropped, so only the blob's charset speaks.
Bytes ToUtf16le(const Bytes& in) {
    size_t start = 0;
    UINT cp = CP_UTF8;
    if (in.size() >= 2 && in[0] == 0xFF && in[1] == 0xFE) return Bytes(in.begin() + 2, in.end());
    if (in.size() >= 3 && in[0] == 0xEF && in[1] == 0xBB && in[2] == 0xBF) start = 3;
    std::string text(in.begin() + static_cast<long>(start), in.end());
    if (text.compare(0, 5, "<?xml") == 0) {
        const size_t end = text.find("?>");
        std::string decl = text.substr(0, end);
        for (char& ch : decl) ch = static_cast<char>(std::tolower(static_cast<unsigned char>(ch)));
        const size_t enc = decl.find("encoding");
        if (enc != std::string::npos) {
            const size_t q = decl.find_first_of("\"'", enc);
            const size_t q2 = decl.find_first_of("\"'", q + 1);
            const std::string name = decl.substr(q + 1, q2 - q - 1);
            if (name == "iso-8859-1" || name == "latin1")
                cp = 28591;
            else if (name == "us-ascii" || name == "ascii")
                cp = 20127;
            else if (name == "windows-1251")
                cp = 1251;
            else if (name == "windows-1252")
                cp = 1252;
        }
        text.erase(0, end == std::string::npos ? text.size() : end + 2);
    }
    Bytes out;
    if (text.empty()) return out;
    const int n = ::MultiByteToWideChar(cp, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring w(static_cast<size_t>(n), L'\0');
    ::MultiByteToWideChar(cp, 0, text.data(), static_cast<int>(text.size()), &w[0], n);
    out.resize(w.size() * 2);
    std::memcpy(out.data(), w.data(), out.size());
    return out;
}

std::string Describe(const Vector& v) {
    return v.opens ? "opens (" + std::to_string(v.sigs.size()) + " sig)" : "refused " + Hex(v.hr);
}

std::string Outcome(HRESULT hr, const Checker& c) {
    std::string s = hr == S_OK ? "opens" : "refused " + Hex(hr);
    if (!c.problems.empty()) s += ", " + std::to_string(c.problems.size()) + " mismatch(es): " + c.problems.front();
    return s;
}

// ---------------------------------------------------------------------------------------
class DecodeVector : public ::testing::TestWithParam<size_t> {};

TEST_P(DecodeVector, MatchesIndependentReader) {
    const Vector& v = Vectors().at(GetParam());
    for (const std::string& u : v.uncertain) std::printf("  uncertain: %s\n", u.c_str());
    Bytes data;
    ASSERT_TRUE(ReadFile(v.path, data)) << v.path;

    Checker autoCheck;
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(data.size()), data.data()};
    const HRESULT hrAuto = DecodeAndCompare(v, blob, autoCheck);
    for (const std::string& p : autoCheck.problems) ADD_FAILURE() << v.name << " (as is): " << p;

    Bytes wide = ToUtf16le(data);
    Checker wideCheck;
    CRYPT_XML_BLOB wblob = {CRYPT_XML_CHARSET_UTF16LE, static_cast<ULONG>(wide.size()), wide.data()};
    const HRESULT hrWide = DecodeAndCompare(v, wblob, wideCheck);
    for (const std::string& p : wideCheck.problems) ADD_FAILURE() << v.name << " (UTF-16LE): " << p;

    std::string outcome = Outcome(hrAuto, autoCheck);
    if (hrWide != hrAuto || !wideCheck.problems.empty()) outcome += " | UTF-16LE: " + Outcome(hrWide, wideCheck);
    if (!v.uncertain.empty()) outcome += " [uncertain]";
    Rows().push_back({v.name, Describe(v), outcome});
}

std::string VectorName(const ::testing::TestParamInfo<size_t>& info) {
    std::string n = Vectors().at(info.param).name;
    for (char& ch : n) {
        if (!std::isalnum(static_cast<unsigned char>(ch))) ch = '_';
    }
    return n + "_" + std::to_string(info.param);
}

std::vector<size_t> VectorIndices() {
    std::vector<size_t> idx(Vectors().size());
    for (size_t i = 0; i < idx.size(); ++i) idx[i] = i;
    return idx;
}

INSTANTIATE_TEST_SUITE_P(Vectors, DecodeVector, ::testing::ValuesIn(VectorIndices()), VectorName);

TEST(DecodeVectorsFile, HasVectors) {
    EXPECT_GT(Vectors().size(), 90u) << "expectation file " << TALVORAN_VECTORS_EXPECT;
}

// ---------------------------------------------------------------------------------------
// Robustness: generated documents.
const char* const kDs = "http://www.w3.org/2000/09/xmldsig#";

std::string SignatureXml(const std::string& id,
                         const std::string& sigValue = "AAECAwQFBgcICQ==", const std::string& extra = "",
                         bool withValue = true) {
    std::string s =
        "<ds:Signature xmlns:ds=\"" + std::string(kDs) + "\"" + (id.empty() ? "" : " Id=\"" + id + "\"") +
        ">"
        "<ds:SignedInfo><ds:CanonicalizationMethod Algorithm=\"http://www.w3.org/TR/2001/REC-xml-c14n-20010315\"/>"
        "<ds:SignatureMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#rsa-sha1\"/>"
        "<ds:Reference URI=\"\"><ds:Transforms><ds:Transform "
        "Algorithm=\"http://www.w3.org/2000/09/xmldsig#enveloped-signature\"/>"
        "</ds:Transforms><ds:DigestMethod Algorithm=\"http://www.w3.org/2000/09/xmldsig#sha1\"/>"
        "<ds:DigestValue>AAECAwQFBgcICQoLDA0ODxAREhM=</ds:DigestValue></ds:Reference></ds:SignedInfo>";
    if (withValue) s += "<ds:SignatureValue>" + sigValue + "</ds:SignatureValue>";
    return s + extra + "</ds:Signature>";
}

struct Opened {
    HRESULT hr = E_FAIL;
    ULONG signatures = 0;
};

Opened Open(const std::string& xml) {
    const testing_support::CryptXmlDll& api = testing_support::CryptXmlDll::Get();
    CRYPT_XML_BLOB blob = {CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(xml.size()),
                           reinterpret_cast<BYTE*>(const_cast<char*>(xml.data()))};
    HCRYPTXML doc = nullptr;
    Opened o;
    o.hr = api.OpenToDecode(nullptr, 0, nullptr, 0, &blob, &doc);
    if (o.hr == S_OK) {
        const CRYPT_XML_DOC_CTXT* ctx = nullptr;
        if (api.GetDocContext(doc, &ctx) == S_OK && ctx != nullptr) o.signatures = ctx->cSignature;
        api.Close(doc);
    }
    return o;
}

void Record(const std::string& name, const std::string& expected, const Opened& o) {
    Rows().push_back(
        {name, expected, o.hr == S_OK ? "opens (" + std::to_string(o.signatures) + " sig)" : "refused " + Hex(o.hr)});
}

TEST(DecodeRobustness, EveryVectorCutInHalfIsNotWellFormed) {
    size_t n = 0;
    for (const Vector& v : Vectors()) {
        Bytes data;
        if (!ReadFile(v.path, data) || data.size() < 2) continue;
        const std::string half(data.begin(), data.begin() + static_cast<long>(data.size() / 2));
        const Opened o = Open(half);
        EXPECT_EQ(o.hr, kInvalidFormat) << v.name << " cut at " << half.size() << " bytes: " << Hex(o.hr);
        if (o.hr != kInvalidFormat) Record("cut in half: " + v.name, "refused 0x803D0000", o);
        ++n;
    }
    Rows().push_back(
        {"cut in half: " + std::to_string(n) + " vectors", "refused 0x803D0000", "see failures above, if any"});
}

// Nesting is refused beyond 1,000 levels (tests/stress/hostile covers the limit itself).
TEST(DecodeRobustness, DeeplyNestedDocument) {
    const int depth = 20000;
    std::string xml;
    xml.reserve(depth * 8 + 64);
    for (int i = 0; i < depth; ++i) xml += "<a>";
    for (int i = 0; i < depth; ++i) xml += "</a>";
    const Opened o = Open(xml);
    Record("generated: 20000 nested elements", "refused 0x803D0000", o);
    EXPECT_EQ(o.hr, kInvalidFormat) << Hex(o.hr);
}

TEST(DecodeRobustness, TenMegabyteAttribute) {
    const std::string xml = "<Root big=\"" + std::string(10 * 1024 * 1024, 'x') + "\">" + SignatureXml("S") + "</Root>";
    const Opened o = Open(xml);
    Record("generated: 10 MB attribute", "opens (1 sig)", o);
    EXPECT_EQ(o.hr, S_OK) << Hex(o.hr);
    EXPECT_EQ(o.signatures, 1u);
}

std::string ManySignatures(int n) {
    std::string xml = "<Root>";
    for (int i = 0; i < n; ++i) xml += "<Part>" + SignatureXml("S" + std::to_string(i)) + "</Part>";
    return xml + "</Root>";
}

TEST(DecodeRobustness, SixteenSignaturesOpen) {
    const Opened o = Open(ManySignatures(16));
    Record("generated: 16 signatures", "opens (16 sig)", o);
    EXPECT_EQ(o.hr, S_OK) << Hex(o.hr);
    EXPECT_EQ(o.signatures, 16u);
}

TEST(DecodeRobustness, SeventeenSignaturesAreTooMany) {
    const Opened o = Open(ManySignatures(17));
    Record("generated: 17 signatures", "refused 0x8009210E", o);
    EXPECT_EQ(o.hr, kTooManySignatures) << Hex(o.hr);
}

TEST(DecodeRobustness, SignatureInsideObjectIsNotListed) {
    const std::string inner = SignatureXml("Inner");
    const std::string xml =
        "<Root>" + SignatureXml("Outer", "AAECAwQFBgcICQ==", "<ds:Object Id=\"O1\">" + inner + "</ds:Object>") +
        "</Root>";
    const Opened o = Open(xml);
    Record("generated: Signature inside an Object", "opens (1 sig)", o);
    EXPECT_EQ(o.hr, S_OK) << Hex(o.hr);
    EXPECT_EQ(o.signatures, 1u);
}

TEST(DecodeRobustness, Base64GarbageInSignatureValue) {
    const Opened o = Open("<Root>" + SignatureXml("S", "!!!!****@@@@") + "</Root>");
    Record("generated: SignatureValue not Base64", "refused 0x80004005", o);
    EXPECT_EQ(o.hr, E_FAIL) << Hex(o.hr);
}

TEST(DecodeRobustness, EmptySignatureValue) {
    const Opened o = Open("<Root>" + SignatureXml("S", "  ") + "</Root>");
    Record("generated: SignatureValue white space only", "refused 0x80004005", o);
    EXPECT_EQ(o.hr, E_FAIL) << Hex(o.hr);
}

TEST(DecodeRobustness, SignatureValueOf2049BytesIsTooLarge) {
    // 682 groups of four Base64 characters are 2046 bytes.
    std::string value;
    for (int i = 0; i < 682; ++i) value += "AAAA";
    const Opened big = Open("<Root>" + SignatureXml("S", value + "AAAA") + "</Root>");
    Record("generated: SignatureValue of 2049 bytes", "refused 0x80070057", big);
    EXPECT_EQ(big.hr, E_INVALIDARG) << Hex(big.hr);
    const Opened max = Open("<Root>" + SignatureXml("S", value + "AAA=") + "</Root>");
    Record("generated: SignatureValue of 2048 bytes", "opens (1 sig)", max);
    EXPECT_EQ(max.hr, S_OK) << Hex(max.hr);
}

TEST(DecodeRobustness, MissingSignatureValueIsRefused) {
    // The XML-signature library rejects the Signature while loading; that is E_FAIL.
    const Opened o = Open("<Root>" + SignatureXml("S", "", "", false) + "</Root>");
    Record("generated: no SignatureValue", "refused 0x80004005", o);
    EXPECT_EQ(o.hr, E_FAIL) << Hex(o.hr);
}

TEST(DecodeRobustness, DuplicateObjectIdsConflict) {
    const Opened o = Open(
        "<Root>" +
        SignatureXml("S", "AAECAwQFBgcICQ==", "<ds:Object Id=\"D\">a</ds:Object><ds:Object Id=\"D\">b</ds:Object>") +
        "</Root>");
    Record("generated: two Objects with one Id", "refused 0x80092112", o);
    EXPECT_EQ(o.hr, kIdConflict) << Hex(o.hr);
}

TEST(DecodeRobustness, DuplicateSignatureIdsOpen) {
    const Opened o = Open("<Root>" + SignatureXml("Same") + SignatureXml("Same") + "</Root>");
    // Signatures are separate contexts: their own Ids are not compared with each other.
    Record("generated: two Signatures with one Id", "opens (2 sig)", o);
    EXPECT_EQ(o.hr, S_OK) << Hex(o.hr);
    EXPECT_EQ(o.signatures, 2u);
}

}  // namespace
