// The factory of the transform table: the bytes of the caller's input provider are parsed
// and read back through an xml-security-c chain (document, optional envelope, c14n).
#include <array>
#include <cwchar>
#include <memory>
#include <utility>
#include <vector>

#include <xsec/transformers/TXFMC14n.hpp>
#include <xsec/transformers/TXFMDocObject.hpp>
#include <xsec/transformers/TXFMEnvelope.hpp>

#include "base/CryptXmlException.hpp"
#include "crypto/XmlStack.hpp"
#include "base/Trace.hpp"
#include "base/XsecErrors.hpp"
#include "document/SignatureElementList.hpp"
#include "document/XmlBlob.hpp"
#include "transforms/LiveProviders.hpp"
#include "transforms/Transforms.hpp"

namespace transforms {
namespace {

namespace xc = XERCES_CPP_NAMESPACE;

constexpr char kCreateTransform[] = "CreateTransform";
constexpr wchar_t kEnveloped[] = L"http://www.w3.org/2000/09/xmldsig#enveloped-signature";
constexpr wchar_t kC14n[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315";
constexpr wchar_t kC14nComments[] = L"http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments";
constexpr wchar_t kExcC14n[] = L"http://www.w3.org/2001/10/xml-exc-c14n#";
constexpr wchar_t kExcC14nComments[] = L"http://www.w3.org/2001/10/xml-exc-c14n#WithComments";

bool Is(const wchar_t* uri, const wchar_t* known) { return std::wcscmp(uri, known) == 0; }

// Thrown (and caught below) when the URI names nothing the factory builds.
struct Unsupported {};

void CheckArguments(const CRYPT_XML_ALGORITHM* pTransform, const CRYPT_XML_DATA_PROVIDER* in,
                    const CRYPT_XML_DATA_PROVIDER* out) {
    if (pTransform == nullptr || pTransform->wszAlgorithm == nullptr || in == nullptr || in->pfnClose == nullptr ||
        in->pfnRead == nullptr || out == nullptr) {
        errors::Raise<hr::kInvalidArg>(kCreateTransform);
    }
}

// The canonicalisation a c14n URI selects. The node set of the whole document starts with
// its comments; the methods without comments take them out at the source, since the
// canonicaliser follows what its input says about comments.
void AppendC14n(const wchar_t* uri, xc::DOMDocument* doc, TXFMBase& source, TXFMChain& chain) {
    const bool comments = Is(uri, kC14nComments) || Is(uri, kExcC14nComments);
    const bool exclusive = Is(uri, kExcC14n) || Is(uri, kExcC14nComments);
    if (!comments && !exclusive && !Is(uri, kC14n)) throw Unsupported();
    if (!comments) source.stripComments();
    auto c14n = std::make_unique<TXFMC14n>(doc);
    chain.appendTxfm(c14n.get());
    TXFMC14n* appended = c14n.release();
    if (exclusive) appended->setExclusive();
    if (comments) appended->activateComments();
}

// Cuts the first Signature element of the document out of its canonical form (without
// comments). Without one, the whole document is canonicalised.
void AppendEnveloped(xc::DOMDocument* doc, TXFMBase& source, TXFMChain& chain) {
    source.stripComments();
    auto c14n = std::make_unique<TXFMC14n>(doc);
    const SignatureElementList signatures(doc);
    if (signatures.size() != 0) {
        if (xc::DOMNode* child = signatures[0]->getFirstChild()) {
            auto envelope = std::make_unique<TXFMEnvelope>(doc);
            chain.appendTxfm(envelope.get());
            envelope.release()->evaluateEnvelope(child);
        }
    }
    chain.appendTxfm(c14n.get());
    c14n.release();
}

void AppendByUri(const wchar_t* uri, xc::DOMDocument* doc, TXFMBase& source, TXFMChain& chain) {
    if (std::wcsstr(uri, L"-c14n") != nullptr) {
        AppendC14n(uri, doc, source, chain);
    } else if (Is(uri, kEnveloped)) {
        AppendEnveloped(doc, source, chain);
    } else {
        throw Unsupported();
    }
}

HRESULT Build(const CRYPT_XML_ALGORITHM* pTransform, CRYPT_XML_DATA_PROVIDER* pProviderIn,
              CRYPT_XML_DATA_PROVIDER* pProviderOut) {
    CheckArguments(pTransform, pProviderIn, pProviderOut);
    // Called through the table, not through an export: nothing has started the stack.
    xmlStack::Ensure();
    std::vector<BYTE> input;
    ReadDataFromProvider(*pProviderIn, input);
    if (input.empty()) errors::Raise<hr::kOperation>(kCreateTransform, "providerIn does not provide any data.");

    auto parser = std::make_unique<xc::XercesDOMParser>();
    const CRYPT_XML_BLOB blob{CRYPT_XML_CHARSET_AUTO, static_cast<ULONG>(input.size()), input.data()};
    xc::DOMDocument* doc = xmlBlob::CreateDomStructure(*parser, blob)->getOwnerDocument();
    pProviderOut->cbBufferSize = kChunkSize;

    auto source = std::make_unique<TXFMDocObject>(doc);
    source->setInput(doc);
    auto chain = std::make_unique<TXFMChain>(source.get(), true);
    TXFMBase& first = *source.release();
    try {
        AppendByUri(pTransform->wszAlgorithm, doc, first, *chain);
    } catch (const Unsupported&) {
        trace::TraceA(kCreateTransform, "Unsupported Transform.");
        return CRYPT_XML_E_TRANSFORM;
    }
    auto state = std::make_unique<TransformContext>(parser.release(), chain.release());
    pProviderOut->pvCallbackState = liveProviders::Adopt(std::move(state));
    pProviderOut->pfnRead = CanonReadProc;
    pProviderOut->pfnClose = CanonCloseProc;
    return S_OK;
}

}  // namespace

HRESULT CALLBACK CreateTransform(const CRYPT_XML_ALGORITHM* pTransform, CRYPT_XML_DATA_PROVIDER* pProviderIn,
                                 CRYPT_XML_DATA_PROVIDER* pProviderOut) {
    try {
        return Build(pTransform, pProviderIn, pProviderOut);
    } catch (...) {
        return xsecErrors::Report(kCreateTransform);
    }
}

}  // namespace transforms
