#pragma once
#include "Outcome.hpp"

namespace verifyVectors {

// The exact answers for a document that verifies, and for its tampered copies. `shape` is
// the run of the untouched document: it says which references are external.

// S_OK; every reference digest-valid (internal ones also marked internal), every external
// one fed with S_OK; the signature valid with all digests valid; the document valid.
Expectation Valid(const Outcome& shape);
// Reference `tampered` covers changed data: its digest is invalid, and so is the
// signature's merged word, while the SignatureValue itself still verifies.
Expectation DataTampered(const Outcome& shape, size_t tampered);
// SignedInfo changed (SignatureValue or a DigestValue), external data fed before the
// verification: the signature value does not verify, so no same-document reference is
// digested; the fed ones are digest-valid, and the signature's merged info says so only
// when every reference is a fed one. `changedDigest`: the reference whose DigestValue was
// changed, if any; fed data no longer matches it.
Expectation SignedInfoTampered(const Outcome& shape, std::optional<size_t> changedDigest);

}  // namespace verifyVectors
