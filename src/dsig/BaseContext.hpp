#pragma once
#include "base/RecursiveLock.hpp"
#include "base/WinApi.hpp"

namespace registry {
class Access;
}

// What every handle of the library is: flags of the creating call, whether a parent owns
// the context, the status that CryptXmlGetStatus reports, and the Id-attribute rules.
class BaseContext {
public:
    BaseContext(DWORD flags, bool hasOwner);
    virtual ~BaseContext();
    BaseContext(const BaseContext&) = delete;
    BaseContext& operator=(const BaseContext&) = delete;

    virtual void GetStatus(CRYPT_XML_STATUS* out) const;

    bool HasOwner() const noexcept { return hasOwner_; }
    DWORD GetFlags() const noexcept { return flags_; }
    void SetStatus(const CRYPT_XML_STATUS& status) noexcept { status_ = status; }

    static bool IdAttrMeetXmlNcNameSyntax(const wchar_t* id);
    static bool IdAttrMeetXmlNameSyntax(const wchar_t* id);
    static void CheckIdLimits(const wchar_t* id, DWORD flags);

protected:
    const CRYPT_XML_STATUS& Status() const noexcept { return status_; }

private:
    friend class registry::Access;  // only the registry takes and releases the lock

    RecursiveLock lock_;
    DWORD flags_;
    bool hasOwner_;
    CRYPT_XML_STATUS status_;
};
