#pragma once
#include <memory>

#include <xercesc/parsers/XercesDOMParser.hpp>
#include <xsec/transformers/TXFMChain.hpp>

#include "base/WinApi.hpp"

// The callback state of an output provider of CreateTransform: the parsed input and the
// transform chain over it. Reading advances through the chain; there is no rewind.
class TransformContext {
public:
    // Takes both; either null raises E_INVALIDARG (and both are released).
    TransformContext(xercesc::XercesDOMParser* parser, TXFMChain* chain);
    TransformContext(const TransformContext&) = delete;
    TransformContext& operator=(const TransformContext&) = delete;

    // Up to count bytes of the chain's output into buffer; 0 at the end of the data.
    ULONG ReadBytes(BYTE* buffer, ULONG count);

private:
    // Declared in this order so that the chain, which reads the parser's document, goes
    // first.
    std::unique_ptr<xercesc::XercesDOMParser> parser_;
    std::unique_ptr<TXFMChain> chainTfm_;
};
