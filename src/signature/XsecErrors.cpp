#include "signature/XsecErrors.hpp"

#include <new>

#include <xercesc/dom/DOMException.hpp>
#include <xercesc/util/OutOfMemoryException.hpp>
#include <xercesc/util/XMLException.hpp>
#include <xsec/enc/XSECCryptoException.hpp>
#include <xsec/framework/XSECException.hpp>

#include "api/CryptXmlException.hpp"
#include "api/TextConvert.hpp"

namespace xsecErrors {

void Rethrow(const wchar_t* function) {
    try {
        throw;
    } catch (const XSECException& e) {
        const std::string message = textConvert::ToAnsi(e.getMsg() != nullptr ? e.getMsg() : L"");
        const std::string name = textConvert::ToAnsi(function);
        switch (e.getType()) {
            case XSECException::UnknownTransform:
            case XSECException::UnsupportedFunction:  // XPath, XSLT, node-set c14n: no Xalan here
                errors::Raise<hr::kTransform>(name.c_str(), message.c_str());
            case XSECException::UnknownCanonicalization:
            case XSECException::UnknownSignatureAlgorithm:
                errors::Raise<hr::kAlgorithm>(name.c_str(), message.c_str());
            default:
                throw CryptXmlException(function, e.getMsg());
        }
    } catch (const XSECCryptoException& e) {
        throw CryptXmlException(textConvert::ToAnsi(function).c_str(), e.getMsg() != nullptr ? e.getMsg() : "");
    } catch (const xercesc::XMLException& e) {
        throw CryptXmlException(function, e.getMessage());
    } catch (const xercesc::DOMException& e) {
        throw CryptXmlException(function, e.getMessage());
    } catch (const xercesc::OutOfMemoryException&) {
        throw std::bad_alloc();
    }
}

}  // namespace xsecErrors
