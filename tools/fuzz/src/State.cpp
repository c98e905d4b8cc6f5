#include "State.hpp"

#include <cstring>

namespace fuzz {

StateFile::~StateFile() {
    if (state_ != nullptr) {
        FlushViewOfFile(state_, 0);
        UnmapViewOfFile(state_);
    }
    if (mapping_ != nullptr) CloseHandle(mapping_);
    if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
}

bool StateFile::Open(const wchar_t* path, bool fresh, const char*& error) {
    file_ = CreateFileW(path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                        fresh ? CREATE_ALWAYS : OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file_ == INVALID_HANDLE_VALUE) {
        error = "cannot open the state file";
        return false;
    }
    LARGE_INTEGER size = {};
    GetFileSizeEx(file_, &size);
    const bool blank = size.QuadPart != static_cast<LONGLONG>(sizeof(SharedState));
    const ULONGLONG bytes = sizeof(SharedState);
    mapping_ = CreateFileMappingW(file_, nullptr, PAGE_READWRITE, static_cast<DWORD>(bytes >> 32),
                                  static_cast<DWORD>(bytes), nullptr);
    if (mapping_ == nullptr) {
        error = "cannot map the state file";
        return false;
    }
    state_ = static_cast<SharedState*>(MapViewOfFile(mapping_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(SharedState)));
    if (state_ == nullptr) {
        error = "cannot map a view of the state file";
        return false;
    }
    if (blank || state_->magic != kStateMagic || state_->version != kStateVersion) {
        std::memset(state_, 0, offsetof(SharedState, input));
        state_->magic = kStateMagic;
        state_->version = kStateVersion;
    }
    return true;
}

}  // namespace fuzz
