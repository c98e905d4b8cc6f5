#include "Injection.hpp"

#include <cerrno>
#include <cstdlib>
#include <string>

namespace faulty {
namespace {

constexpr char kVariable[] = "TALVORAN_FAULTY_CSP";
constexpr DWORD kDefaultError = ERROR_NOT_READY;
constexpr DWORD kAnyType = 0xFFFFFFFF;

struct Rule {
    Operation op;
    DWORD type = kAnyType;
    DWORD error = kDefaultError;
};

std::string Environment() {
    const DWORD needed = GetEnvironmentVariableA(kVariable, nullptr, 0);
    if (needed == 0) return std::string();
    std::string value(needed, '\0');
    const DWORD length = GetEnvironmentVariableA(kVariable, &value[0], needed);
    value.resize(length < needed ? length : 0);
    return value;
}

// A whole-string unsigned number, decimal or 0x-prefixed hexadecimal.
bool Number(const std::string& text, DWORD& out) {
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') return false;
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || value > 0xFFFFFFFFull) return false;
    out = static_cast<DWORD>(value);
    return true;
}

bool ParseOperation(const std::string& text, Operation& op) {
    if (text == "acquire")
        op = Operation::Acquire;
    else if (text == "duplicate-key")
        op = Operation::DuplicateKey;
    else if (text == "get-key-param")
        op = Operation::GetKeyParam;
    else
        return false;
    return true;
}

// rule := operation [":" type] ["=" error]
bool ParseRule(const std::string& text, Rule& rule) {
    const size_t equals = text.find('=');
    const std::string head = text.substr(0, equals);
    if (equals != std::string::npos && (!Number(text.substr(equals + 1), rule.error) || rule.error == 0)) return false;
    const size_t colon = head.find(':');
    if (!ParseOperation(head.substr(0, colon), rule.op)) return false;
    if (colon == std::string::npos) return true;
    const std::string type = head.substr(colon + 1);
    return type == "*" || (Number(type, rule.type) && rule.type != kAnyType);
}

}  // namespace

DWORD InjectedError(Operation op, DWORD type) {
    const std::string rules = Environment();
    DWORD error = 0;
    size_t start = 0;
    // Every rule is parsed, also after the first match, so that a bad one is never hidden.
    while (start < rules.size()) {
        size_t comma = rules.find(',', start);
        if (comma == std::string::npos) comma = rules.size();
        Rule rule{op};
        if (!ParseRule(rules.substr(start, comma - start), rule)) return ERROR_BAD_ENVIRONMENT;
        if (error == 0 && rule.op == op && (rule.type == kAnyType || rule.type == type)) error = rule.error;
        start = comma + 1;
    }
    return error;
}

}  // namespace faulty
