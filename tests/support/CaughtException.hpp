#pragma once
#include <gtest/gtest.h>

#include "base/CryptXmlException.hpp"

namespace testing_support {

// The library exception that call() throws; a test failure when it throws none.
template <class Call>
CryptXmlException Caught(Call&& call) {
    try {
        call();
    } catch (const CryptXmlException& e) {
        return e;
    }
    ADD_FAILURE() << "no exception";
    return CryptXmlException("none", "none");
}

}  // namespace testing_support
