#include "transforms/TransformContext.hpp"

#include <xsec/transformers/TXFMBase.hpp>

#include "base/CryptXmlException.hpp"

TransformContext::TransformContext(xercesc::XercesDOMParser* parser, TXFMChain* chain)
    : parser_(parser), chainTfm_(chain) {
    if (parser_ == nullptr || chainTfm_ == nullptr)
        errors::Raise<hr::kInvalidArg>("TransformContext::TransformContext");
}

ULONG TransformContext::ReadBytes(BYTE* buffer, ULONG count) {
    static const char* const kFunction = "TransformContext::ReadBytes";
    if (chainTfm_ == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "NULL == chainTfm_");
    TXFMBase* tfm = chainTfm_->getLastTxfm();
    if (tfm == nullptr) errors::Raise<hr::kInvalidArg>(kFunction, "NULL == tfm");
    return tfm->readBytes(buffer, count);
}
