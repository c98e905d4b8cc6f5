#include "Outcome.hpp"

#include <cstdio>

namespace verifyVectors {

std::string Hex(HRESULT hr) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "0x%08lX", static_cast<unsigned long>(hr));
    return buf;
}

std::string Words(const StatusWords& w) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "0x%lX/0x%lX", static_cast<unsigned long>(w.error),
                  static_cast<unsigned long>(w.info));
    return buf;
}

namespace {

std::string RefText(size_t i, const std::optional<HRESULT>& digestHr, const std::optional<StatusWords>& status) {
    std::string s = " ref" + std::to_string(i + 1) + "=";
    s += status ? Words(*status) : "*";
    if (digestHr) s += " digest" + std::to_string(i + 1) + "=" + Hex(*digestHr);
    return s;
}

}  // namespace

std::string Describe(const Outcome& o) {
    if (o.keyHr) return "key import " + Hex(*o.keyHr);
    if (o.openHr != S_OK) return "open " + Hex(o.openHr);
    std::string s = "verify " + Hex(o.verifyHr);
    for (size_t i = 0; i < o.refs.size(); ++i) s += RefText(i, o.refs[i].digestHr, o.refs[i].status);
    return s + " sig=" + Words(o.sig) + " doc=" + Words(o.doc);
}

std::string Describe(const Expectation& e) {
    if (e.openHr != S_OK) return "open " + Hex(e.openHr);
    std::string s = "verify " + (e.verifyHr ? Hex(*e.verifyHr) : std::string("*"));
    for (size_t i = 0; i < e.refs.size(); ++i) s += RefText(i, e.refs[i].digestHr, e.refs[i].status);
    if (e.sig) s += " sig=" + Words(*e.sig);
    if (e.doc) s += " doc=" + Words(*e.doc);
    return s;
}

bool Matches(const Expectation& e, const Outcome& o) {
    if (o.keyHr) return false;
    if (o.openHr != e.openHr) return false;
    if (e.openHr != S_OK) return true;
    if (e.verifyHr && *e.verifyHr != o.verifyHr) return false;
    if (!e.refs.empty() && e.refs.size() != o.refs.size()) return false;
    for (size_t i = 0; i < e.refs.size(); ++i) {
        if (e.refs[i].digestHr != o.refs[i].digestHr) return false;
        if (e.refs[i].status && !(*e.refs[i].status == o.refs[i].status)) return false;
    }
    if (e.sig && !(*e.sig == o.sig)) return false;
    if (e.doc && !(*e.doc == o.doc)) return false;
    return true;
}

}  // namespace verifyVectors
