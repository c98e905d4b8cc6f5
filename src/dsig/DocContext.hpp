#pragma once
#include <memory>
#include <vector>

#include <xercesc/parsers/XercesDOMParser.hpp>

#include "dsig/BaseContext.hpp"

class SigContext;

// The context behind a document handle: the parsed document of the caller's blob and one
// registered SigContext per ds:Signature element, published as CRYPT_XML_DOC_CTXT.
// It exists only fully decoded: construction builds everything or leaves nothing.
class DocContext : public BaseContext {
public:
    DocContext(const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* pConfig, DWORD dwFlags, const CRYPT_XML_PROPERTY* rgProperty,
               ULONG cProperty, const CRYPT_XML_BLOB* pEncoded);
    ~DocContext() override;

    void GetStatus(CRYPT_XML_STATUS* out) const override;

    const CRYPT_XML_DOC_CTXT* GetDocStruct() const noexcept { return &docCtxt_; }
    DWORD OutputCharset() const noexcept { return outputCharset_; }
    const CRYPT_XML_TRANSFORM_CHAIN_CONFIG* TransformsConfig() const noexcept { return docCtxt_.pTransformsConfig; }
    const std::vector<SigContext*>& Signatures() const noexcept { return sigContexts_; }

private:
    void InitProperties(const CRYPT_XML_PROPERTY* rgProperty, ULONG cProperty);
    void DecodeSigs();
    void Parse();
    void BuildSignatures();
    void DisposeSignatures() noexcept;

    CRYPT_XML_DOC_CTXT docCtxt_;
    std::vector<PCRYPT_XML_SIGNATURE> sigPointers_;
    DWORD maxSignatures_ = 16;
    const CRYPT_XML_BLOB* encoded_ = nullptr;
    std::vector<SigContext*> sigContexts_;
    std::unique_ptr<xercesc::XercesDOMParser> parser_;
    DWORD outputCharset_ = 0;
    bool outputCharsetFromProperty_ = false;
};
