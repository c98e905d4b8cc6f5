#include "keys/KeyValueText.hpp"

#include "base/CryptXmlException.hpp"

namespace keyValueText {

void RequireWritten(const char* function, const void* written) {
    if (written == nullptr) errors::Raise<hr::kObjectFaulted>(function, "NULL == keyInfoNode");
}

}  // namespace keyValueText
