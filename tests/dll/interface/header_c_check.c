/*
 * C11 check: the public header compiles after windows.h and keeps the x64
 * sizes.  Build with -DCRYPTXML_CHECK_STANDALONE to include the header on
 * its own, without windows.h first.
 */
#ifndef CRYPTXML_CHECK_STANDALONE
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#endif
#include <cryptxml.h>

_Static_assert(sizeof(CRYPT_XML_ALGORITHM) == 32, "CRYPT_XML_ALGORITHM size");
_Static_assert(sizeof(CRYPT_XML_ALGORITHM_INFO) == 72, "CRYPT_XML_ALGORITHM_INFO size");
_Static_assert(sizeof(CRYPT_XML_SIGNATURE) == 176, "CRYPT_XML_SIGNATURE size");
_Static_assert(sizeof(CRYPT_XML_DOC_CTXT) == 40, "CRYPT_XML_DOC_CTXT size");
_Static_assert(sizeof(CRYPT_XML_KEY_INFO) == 40, "CRYPT_XML_KEY_INFO size");
_Static_assert(sizeof(CRYPT_XML_TRANSFORM_INFO) == 32, "CRYPT_XML_TRANSFORM_INFO size");
_Static_assert(sizeof(CRYPT_XML_TRANSFORM_CHAIN_CONFIG) == 16, "CRYPT_XML_TRANSFORM_CHAIN_CONFIG size");

int main(void){return 0;}
