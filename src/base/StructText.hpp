#pragma once
#include <string>

#include "base/WinApi.hpp"

// Published structures point their text fields into strings their owner keeps.
namespace structText {

// Copies text into storage and points field at it; null text sets the field to null and
// leaves the storage alone.
inline void Set(std::wstring& storage, LPCWSTR& field, const wchar_t* text) {
    if (text == nullptr) {
        field = nullptr;
        return;
    }
    storage = text;
    field = storage.c_str();
}

}  // namespace structText
