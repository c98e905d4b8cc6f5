/*
 * xmlsec1_sign_bench: signing throughput of libxmlsec1 (OpenSSL backend), the Linux
 * counterpart of cryptxml-sign-bench.exe, run on the same documents and keys by
 * tools/bench/sign-bench.sh.
 *
 *   xmlsec1_sign_bench KIND KEYFILE SECONDS LABEL FILE [LABEL FILE]...
 *
 * KIND is rsa-sha256 (KEYFILE: a PEM private key) or hmac-sha256 (KEYFILE: the raw secret).
 *
 * What one iteration is, as on the DLL's side: xmlReadMemory of the unsigned document
 * (read into memory once), a Signature template appended to the document element (c14n
 * 1.0, the signature method, one Reference URI="" with the enveloped-signature and c14n
 * transforms and SHA-256), xmlSecDSigCtxSign, serialising the signed document to memory
 * (xmlDocDumpMemory), and freeing it all. Outside the loop: reading the file and loading
 * the key, which each iteration's context borrows. The first signed document of each file
 * is written to OUT-LABEL-KIND.xml beside the file, for checking. Prints one line per file:
 * label, kind, iterations, seconds, signatures/s.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <xmlsec/crypto.h>
#include <xmlsec/keys.h>
#include <xmlsec/templates.h>
#include <xmlsec/xmldsig.h>
#include <xmlsec/xmlsec.h>

#include "bench_util.h"

static int is_hmac(const char *kind) { return strncmp(kind, "hmac", 4) == 0; }

static xmlSecKeyPtr load_key(const char *kind, const char *path) {
    if (is_hmac(kind)) return xmlSecKeyReadBinaryFile(xmlSecKeyDataHmacId, path);
    return xmlSecCryptoAppKeyLoad(path, xmlSecKeyDataFormatPem, NULL, NULL, NULL);
}

/* One parse / template / sign / write / free round; 0 on success. With keep, the signed
 * document is written there. */
static int sign_once(const struct buffer *bytes, const char *kind, xmlSecKeyPtr key, const char *keep) {
    xmlDocPtr doc = xmlReadMemory(bytes->data, (int)bytes->size, "bench.xml", NULL, XML_PARSE_NONET);
    xmlSecDSigCtxPtr ctx = NULL;
    xmlNodePtr sig = NULL, ref = NULL;
    xmlChar *out = NULL;
    int out_size = 0, rc = -1;
    if (doc == NULL) return -1;
    sig = xmlSecTmplSignatureCreate(doc, xmlSecTransformInclC14NId,
                                    is_hmac(kind) ? xmlSecTransformHmacSha256Id : xmlSecTransformRsaSha256Id, NULL);
    if (sig != NULL) xmlAddChild(xmlDocGetRootElement(doc), sig);
    if (sig != NULL) ref = xmlSecTmplSignatureAddReference(sig, xmlSecTransformSha256Id, NULL, BAD_CAST "", NULL);
    if (ref != NULL && xmlSecTmplReferenceAddTransform(ref, xmlSecTransformEnvelopedId) != NULL &&
        xmlSecTmplReferenceAddTransform(ref, xmlSecTransformInclC14NId) != NULL) {
        ctx = xmlSecDSigCtxCreate(NULL);
    }
    if (ctx != NULL) {
        ctx->signKey = key;
        if (xmlSecDSigCtxSign(ctx, sig) == 0) {
            xmlDocDumpMemory(doc, &out, &out_size);
            if (out != NULL && out_size > 0) rc = 0;
            if (rc == 0 && keep != NULL) {
                FILE *f = fopen(keep, "wb");
                if (f == NULL || fwrite(out, 1, (size_t)out_size, f) != (size_t)out_size) rc = -1;
                if (f != NULL) fclose(f);
            }
        }
        ctx->signKey = NULL;
        xmlSecDSigCtxDestroy(ctx);
    }
    xmlFree(out);
    xmlFreeDoc(doc);
    return rc;
}

static int measure(const char *label, const char *kind, const char *path, xmlSecKeyPtr key, double seconds) {
    struct buffer bytes = {NULL, 0};
    unsigned long count = 0;
    double start, elapsed;
    char keep[4096];
    const char *slash = strrchr(path, '/');
    if (read_file(path, &bytes) != 0) {
        fprintf(stderr, "cannot read %s\n", path);
        return -1;
    }
    snprintf(keep, sizeof(keep), "%.*sxmlsec1-%s-%s.xml", (int)(slash != NULL ? slash - path + 1 : 0), path, label, kind);
    if (sign_once(&bytes, kind, key, keep) != 0) { /* warm-up, and the document kept for checking */
        fprintf(stderr, "%s: signing failed\n", path);
        free(bytes.data);
        return -1;
    }
    start = now_seconds();
    do {
        if (sign_once(&bytes, kind, key, NULL) != 0) {
            fprintf(stderr, "%s: signing failed after %lu rounds\n", path, count);
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

int main(int argc, char **argv) {
    xmlSecKeyPtr key;
    double seconds;
    int i, rc = 0;
    if (argc < 6 || (argc - 4) % 2 != 0) {
        fprintf(stderr, "usage: %s KIND KEYFILE SECONDS LABEL FILE [LABEL FILE]...\n", argv[0]);
        return 2;
    }
    xmlInitParser();
    LIBXML_TEST_VERSION
    if (xmlSecInit() < 0 || xmlSecCheckVersion() != 1 || xmlSecCryptoAppInit(NULL) < 0 || xmlSecCryptoInit() < 0) {
        fprintf(stderr, "xmlsec initialisation failed\n");
        return 2;
    }
    key = load_key(argv[1], argv[2]);
    if (key == NULL) {
        fprintf(stderr, "cannot load key %s\n", argv[2]);
        return 2;
    }
    seconds = atof(argv[3]);
    for (i = 4; i + 1 < argc && rc == 0; i += 2) rc = measure(argv[i], argv[1], argv[i + 1], key, seconds);
    xmlSecKeyDestroy(key);
    xmlSecCryptoShutdown();
    xmlSecCryptoAppShutdown();
    xmlSecShutdown();
    xmlCleanupParser();
    return rc == 0 ? 0 : 1;
}
