/*
 * xmlsec1_verify_bench: verification throughput of libxmlsec1 (OpenSSL backend), the
 * Linux counterpart of cryptxml-verify-bench.exe, run on the same files and keys by
 * tools/bench/verify-bench.sh.
 *
 *   xmlsec1_verify_bench KIND KEYFILE SECONDS LABEL FILE [LABEL FILE]...
 *
 * KIND is rsa-sha256 or gost2001 (KEYFILE: a PEM public key) or hmac-sha256 (KEYFILE: the
 * raw secret). GOST needs the GOST build of xmlsec1 and OPENSSL_CONF naming a
 * configuration that loads the GOST engine.
 *
 * What one iteration is: xmlReadMemory of the file's bytes (read into memory once),
 * xmlSecDSigCtxVerify of its ds:Signature (the SignatureValue over the canonical
 * SignedInfo, then the enveloped reference's digest over the canonical document without
 * the signature), a check that the context's status is "succeeded", and freeing the
 * context and the document. What is outside the loop: reading the file and loading the
 * key. Each iteration's context borrows the one loaded key (signKey, detached again
 * before the context is destroyed), so KeyInfo is never read, as on the DLL's side where
 * the key is imported once. Prints one line per file: label, kind, iterations, seconds,
 * verifications/s.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <libxml/parser.h>
#include <libxml/tree.h>

#include <xmlsec/crypto.h>
#include <xmlsec/keys.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>
#include <xmlsec/xmltree.h>

#include "bench_util.h"

static xmlSecKeyPtr load_key(const char *kind, const char *path) {
    if (strncmp(kind, "hmac", 4) == 0) return xmlSecKeyReadBinaryFile(xmlSecKeyDataHmacId, path);
    return xmlSecCryptoAppKeyLoad(path, xmlSecKeyDataFormatPem, NULL, NULL, NULL);
}

/* One parse / verify / free round; 0 when the signature and its reference are valid. */
static int verify_once(const struct buffer *doc_bytes, xmlSecKeyPtr key) {
    xmlDocPtr doc = xmlReadMemory(doc_bytes->data, (int)doc_bytes->size, "bench.xml", NULL, XML_PARSE_NONET);
    xmlSecDSigCtxPtr ctx = NULL;
    xmlNodePtr node = NULL;
    int rc = -1;
    if (doc == NULL) return -1;
    node = xmlSecFindNode(xmlDocGetRootElement(doc), xmlSecNodeSignature, xmlSecDSigNs);
    ctx = xmlSecDSigCtxCreate(NULL);
    if (node != NULL && ctx != NULL) {
        ctx->signKey = key;
        if (xmlSecDSigCtxVerify(ctx, node) == 0 && ctx->status == xmlSecDSigStatusSucceeded) rc = 0;
        ctx->signKey = NULL;
    }
    if (ctx != NULL) xmlSecDSigCtxDestroy(ctx);
    xmlFreeDoc(doc);
    return rc;
}

static int measure(const char *label, const char *kind, const char *path, xmlSecKeyPtr key, double seconds) {
    struct buffer bytes = {NULL, 0};
    unsigned long count = 0;
    double start, elapsed;
    if (read_file(path, &bytes) != 0) {
        fprintf(stderr, "cannot read %s\n", path);
        return -1;
    }
    if (verify_once(&bytes, key) != 0) { /* warm-up, and a check before timing anything */
        fprintf(stderr, "%s does not verify\n", path);
        free(bytes.data);
        return -1;
    }
    start = now_seconds();
    do {
        if (verify_once(&bytes, key) != 0) {
            fprintf(stderr, "%s: verification failed after %lu rounds\n", path, count);
            free(bytes.data);
            return -1;
        }
        ++count;
        elapsed = now_seconds() - start;
    } while (elapsed < seconds);
    printf("%-4s %-12s %10lu %8.2f %12.1f\n", label, kind, count, elapsed, count / elapsed);
    fflush(stdout);
    free(bytes.data);
    return 0;
}

static int init_xmlsec(void) {
    xmlInitParser();
    LIBXML_TEST_VERSION
    if (xmlSecInit() < 0 || xmlSecCheckVersion() != 1) return -1;
    if (xmlSecCryptoAppInit(NULL) < 0 || xmlSecCryptoInit() < 0) return -1;
    return 0;
}

static void shutdown_xmlsec(void) {
    xmlSecCryptoShutdown();
    xmlSecCryptoAppShutdown();
    xmlSecShutdown();
    xmlCleanupParser();
}

int main(int argc, char **argv) {
    xmlSecKeyPtr key;
    double seconds;
    int i, rc = 0;
    if (argc < 6 || (argc - 4) % 2 != 0) {
        fprintf(stderr, "usage: %s KIND KEYFILE SECONDS LABEL FILE [LABEL FILE]...\n", argv[0]);
        return 2;
    }
    seconds = atof(argv[3]);
    if (init_xmlsec() != 0) {
        fprintf(stderr, "xmlsec initialisation failed\n");
        return 2;
    }
    key = load_key(argv[1], argv[2]);
    if (key == NULL) {
        fprintf(stderr, "cannot load the %s key %s\n", argv[1], argv[2]);
        shutdown_xmlsec();
        return 2;
    }
    for (i = 4; i + 1 < argc; i += 2) {
        if (measure(argv[i], argv[1], argv[i + 1], key, seconds) != 0) rc = 1;
    }
    xmlSecKeyDestroy(key);
    shutdown_xmlsec();
    return rc;
}
