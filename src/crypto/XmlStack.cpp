#include "crypto/XmlStack.hpp"

#include <memory>
#include <mutex>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLUni.hpp>
#include <xsec/utils/XSECPlatformUtils.hpp>

#include "base/RecursiveLock.hpp"
#include "crypto/GostAlgorithmHandler.hpp"
#include "crypto/WinCAPICryptoProvider.hpp"

namespace xmlStack {
namespace {

RecursiveLock xmlStackLock;

bool XercesRunning() noexcept { return XERCES_CPP_NAMESPACE::XMLPlatformUtils::fgMemoryManager != nullptr; }
bool XsecRunning() noexcept { return XSECPlatformUtils::initCount != 0; }

}  // namespace

void Ensure() {
    std::lock_guard<RecursiveLock> guard(xmlStackLock);
    if (!XercesRunning()) {
        XERCES_CPP_NAMESPACE::XMLPlatformUtils::Initialize(XERCES_CPP_NAMESPACE::XMLUni::fgXercescDefaultLocale,
                                                           nullptr, nullptr, nullptr);
    }
    if (!XsecRunning()) {
        // xml-security-c owns the provider from here and deletes it in Terminate.
        auto provider = std::make_unique<WinCAPICryptoProvider>();
        XSECPlatformUtils::Initialise(provider.release());
        gostAlgorithms::Register();  // Terminate forgets handlers: register on every start
    }
}

void Stop() {
    std::lock_guard<RecursiveLock> guard(xmlStackLock);
    if (XsecRunning()) XSECPlatformUtils::Terminate();
    if (XercesRunning()) XERCES_CPP_NAMESPACE::XMLPlatformUtils::Terminate();
}

}  // namespace xmlStack
