#include "Expectations.hpp"

#include <cryptxml.h>

namespace verifyVectors {
namespace {

constexpr DWORD kInternal = CRYPT_XML_STATUS_INTERNAL_REFERENCE;
constexpr DWORD kDigestValid = CRYPT_XML_STATUS_DIGEST_VALID;
constexpr DWORD kSignatureValid = CRYPT_XML_STATUS_SIGNATURE_VALID;
constexpr DWORD kDigestInvalid = CRYPT_XML_STATUS_ERROR_DIGEST_INVALID;
constexpr DWORD kSignatureInvalid = CRYPT_XML_STATUS_ERROR_SIGNATURE_INVALID;

RefExpectation GoodRef(const RefOutcome& shape) {
    if (shape.external) return {S_OK, StatusWords{0, kDigestValid}};
    return {std::nullopt, StatusWords{0, kInternal | kDigestValid}};
}

RefExpectation BadRef(const RefOutcome& shape) {
    if (shape.external) return {CRYPT_XML_E_INVALID_DIGEST, StatusWords{kDigestInvalid, 0}};
    return {std::nullopt, StatusWords{kDigestInvalid, kInternal}};
}

}  // namespace

Expectation Valid(const Outcome& shape) {
    Expectation e;
    e.verifyHr = S_OK;
    for (const RefOutcome& r : shape.refs) e.refs.push_back(GoodRef(r));
    e.sig = StatusWords{0, kSignatureValid | kDigestValid};
    e.doc = StatusWords{0, kSignatureValid};
    return e;
}

Expectation DataTampered(const Outcome& shape, size_t tampered) {
    Expectation e;
    e.verifyHr = S_OK;
    for (size_t i = 0; i < shape.refs.size(); ++i) {
        e.refs.push_back(i == tampered ? BadRef(shape.refs[i]) : GoodRef(shape.refs[i]));
    }
    e.sig = StatusWords{kDigestInvalid, kSignatureValid};
    e.doc = StatusWords{0, kSignatureValid};
    return e;
}

Expectation SignedInfoTampered(const Outcome& shape, std::optional<size_t> changedDigest) {
    Expectation e;
    e.verifyHr = CRYPT_XML_E_VERIFY_FAILED;
    bool allValid = !shape.refs.empty();
    DWORD refErrors = 0;
    for (size_t i = 0; i < shape.refs.size(); ++i) {
        const RefOutcome& r = shape.refs[i];
        if (!r.external) {
            e.refs.push_back({std::nullopt, StatusWords{0, kInternal}});  // never digested
            allValid = false;
        } else if (changedDigest == i) {
            e.refs.push_back(BadRef(r));
            refErrors |= kDigestInvalid;
            allValid = false;
        } else {
            e.refs.push_back(GoodRef(r));
        }
    }
    e.sig = StatusWords{kSignatureInvalid | refErrors, allValid ? kDigestValid : 0};
    e.doc = StatusWords{kSignatureInvalid, 0};
    return e;
}

}  // namespace verifyVectors
