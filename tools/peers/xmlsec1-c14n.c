/*
 * xmlsec1-c14n METHOD IN.xml OUT
 *
 * Reference canonicalisation from Debian's libxmlsec1: writes to OUT the bytes that
 * libxmlsec1's own transform chain produces for the whole document IN.xml through one
 * transform. The DLL's canonicalising transforms are compared byte for byte with these
 * outputs (tests/conformance/transforms/).
 *
 * METHOD is one of
 *   http://www.w3.org/TR/2001/REC-xml-c14n-20010315
 *   http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments
 *   http://www.w3.org/2001/10/xml-exc-c14n#            (no InclusiveNamespaces list)
 *   http://www.w3.org/2001/10/xml-exc-c14n#WithComments
 *   http://www.w3.org/2000/09/xmldsig#enveloped-signature
 *     The first dsig:Signature element in document order is the enclosing one: it is
 *     cut out and the rest goes through inclusive canonicalisation without comments.
 *     Without a Signature element this is inclusive canonicalisation of the whole
 *     document.
 *
 * The input node set is the whole document, comments included; the transforms that
 * drop comments drop them themselves. The document is read with xmlSecParseFile(), the
 * function the xmlsec1 program itself uses for its input documents, so that DTD
 * defaults, entity handling and parser options are the program's. The output is what
 * xmlsec's transforms write (xmlSecTransformCtxXmlExecute), not a direct xmlC14N call,
 * because xmlsec feeds libxml2's canonicaliser through its own node-set callbacks.
 * Note what that reader really does with libxml2 2.9: its parser options override the
 * entity and DTD-loading settings it asks for first, so an internal-subset entity
 * reference stays a reference node (and canonicalisation then fails, as in xmlsec1
 * itself) and of the DTD's default attributes only the xmlns ones appear.
 *
 * Exit: 0 written, 1 failure (one line on stderr), 2 usage error.
 */
#include <errno.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>

#include <xmlsec/xmlsec.h>
#include <xmlsec/buffer.h>
#include <xmlsec/errors.h>
#include <xmlsec/nodeset.h>
#include <xmlsec/parser.h>
#include <xmlsec/strings.h>
#include <xmlsec/transforms.h>
#include <xmlsec/xmltree.h>

#define PROG "xmlsec1-c14n"

enum method_kind { M_C14N, M_C14N_COMMENTS, M_EXC, M_EXC_COMMENTS, M_ENVELOPED };

static const struct {
    const char *uri;
    enum method_kind kind;
} methods[] = {
    { "http://www.w3.org/TR/2001/REC-xml-c14n-20010315", M_C14N },
    { "http://www.w3.org/TR/2001/REC-xml-c14n-20010315#WithComments", M_C14N_COMMENTS },
    { "http://www.w3.org/2001/10/xml-exc-c14n#", M_EXC },
    { "http://www.w3.org/2001/10/xml-exc-c14n#WithComments", M_EXC_COMMENTS },
    { "http://www.w3.org/2000/09/xmldsig#enveloped-signature", M_ENVELOPED },
};

/* libxml2 and xmlsec report an error as a cascade, innermost first, over several
 * lines. The callers want a single line, and the innermost report is the one that
 * names the cause, so only the first of each library is kept. */
static char first_xml_error[512];
static char first_xmlsec_error[512];

static void one_line(char *s) {
    size_t n;
    for (char *p = s; *p != '\0'; ++p) {
        if (*p == '\n' || *p == '\r' || *p == '\t') {
            *p = ' ';
        }
    }
    n = strlen(s);
    while (n > 0 && s[n - 1] == ' ') {
        s[--n] = '\0';
    }
}

static void on_xml_error(void *data, xmlErrorPtr err) {
    (void)data;
    if (first_xml_error[0] != '\0' || err == NULL || err->level < XML_ERR_ERROR) {
        return;
    }
    if (err->file != NULL && err->line > 0) {
        snprintf(first_xml_error, sizeof first_xml_error, "%s:%d: %s", err->file, err->line,
                 err->message != NULL ? err->message : "(no message)");
    } else {
        snprintf(first_xml_error, sizeof first_xml_error, "%s",
                 err->message != NULL ? err->message : "(no message)");
    }
    one_line(first_xml_error);
}

/* Some libxml2 paths still use the unstructured channel; swallowed here so that
 * stderr carries only the program's own line. */
static void on_generic_error(void *data, const char *fmt, ...) {
    (void)data;
    (void)fmt;
}

static void on_xmlsec_error(const char *file, int line, const char *func, const char *errorObject,
                            const char *errorSubject, int reason, const char *msg) {
    (void)file;
    (void)line;
    (void)errorObject;
    (void)reason;
    if (first_xmlsec_error[0] != '\0') {
        return;
    }
    if (errorSubject != NULL) {
        snprintf(first_xmlsec_error, sizeof first_xmlsec_error, "%s (%s)",
                 func != NULL ? func : "xmlsec", errorSubject);
    } else {
        snprintf(first_xmlsec_error, sizeof first_xmlsec_error, "%s",
                 func != NULL ? func : "xmlsec");
    }
    if (msg != NULL && msg[0] != '\0') {
        size_t used = strlen(first_xmlsec_error);
        snprintf(first_xmlsec_error + used, sizeof first_xmlsec_error - used, ": %s", msg);
    }
    one_line(first_xmlsec_error);
}

static void fail(const char *fmt, ...) {
    char what[512];
    va_list ap;
    va_start(ap, fmt);
    vsnprintf(what, sizeof what, fmt, ap);
    va_end(ap);
    one_line(what);
    if (first_xml_error[0] != '\0') {
        fprintf(stderr, PROG ": %s: %s\n", what, first_xml_error);
    } else if (first_xmlsec_error[0] != '\0') {
        fprintf(stderr, PROG ": %s: %s\n", what, first_xmlsec_error);
    } else {
        fprintf(stderr, PROG ": %s\n", what);
    }
    exit(1);
}

/* The enveloped transform takes its enclosing Signature from the transform's here
 * node (the Transform element in a real Reference). Pre-order search, so "first" is
 * first in document order, a Signature nested in another one included. */
static xmlNodePtr first_signature(xmlNodePtr node) {
    for (xmlNodePtr cur = node; cur != NULL; cur = cur->next) {
        if (cur->type != XML_ELEMENT_NODE) {
            continue;
        }
        if (xmlSecCheckNodeName(cur, xmlSecNodeSignature, xmlSecDSigNs)) {
            return cur;
        }
        xmlNodePtr found = first_signature(cur->children);
        if (found != NULL) {
            return found;
        }
    }
    return NULL;
}

static void append(xmlSecTransformCtxPtr ctx, xmlSecTransformId id, xmlNodePtr here) {
    xmlSecTransformPtr t = xmlSecTransformCtxCreateAndAppend(ctx, id);
    if (t == NULL) {
        fail("cannot add transform %s", (const char *)id->name);
    }
    t->hereNode = here;
}

static void write_all(const char *path, const xmlSecByte *data, xmlSecSize size) {
    FILE *f = fopen(path, "wb");
    if (f == NULL) {
        fail("cannot create %s: %s", path, strerror(errno));
    }
    if ((size > 0 && fwrite(data, 1, size, f) != size) || fclose(f) != 0) {
        int e = errno;
        unlink(path);
        fail("cannot write %s: %s", path, strerror(e));
    }
}

int main(int argc, char **argv) {
    const char *uri, *in, *out;
    int kind = -1;

    if (argc != 4) {
        fprintf(stderr, "usage: " PROG " METHOD IN.xml OUT\n");
        return 2;
    }
    uri = argv[1];
    in = argv[2];
    out = argv[3];
    for (size_t i = 0; i < sizeof methods / sizeof methods[0]; ++i) {
        if (strcmp(uri, methods[i].uri) == 0) {
            kind = (int)methods[i].kind;
        }
    }
    if (kind < 0) {
        fprintf(stderr, PROG ": unknown METHOD %s\n", uri);
        fprintf(stderr, "usage: " PROG " METHOD IN.xml OUT\n");
        return 2;
    }

    xmlInitParser();
    LIBXML_TEST_VERSION
    xmlSetStructuredErrorFunc(NULL, on_xml_error);
    xmlSetGenericErrorFunc(NULL, on_generic_error);
    if (xmlSecInit() < 0) {
        fail("xmlSecInit failed");
    }
    if (xmlSecCheckVersion() != 1) {
        fail("loaded libxmlsec1 is not the version this program was built against");
    }
    xmlSecErrorsSetCallback(on_xmlsec_error);

    /* xmlSecParseFile is exactly the xmlsec1 program's reader: it asks for ID detection
     * and DTD default attributes, substitutes entities and applies xmlsec's default
     * parser options, which include XML_PARSE_NONET, so nothing is fetched. */
    xmlDocPtr doc = xmlSecParseFile(in);
    if (doc == NULL) {
        fail("cannot parse %s", in);
    }

    xmlSecTransformCtxPtr ctx = xmlSecTransformCtxCreate();
    if (ctx == NULL) {
        fail("xmlSecTransformCtxCreate failed");
    }
    switch ((enum method_kind)kind) {
    case M_C14N:
        append(ctx, xmlSecTransformInclC14NId, NULL);
        break;
    case M_C14N_COMMENTS:
        append(ctx, xmlSecTransformInclC14NWithCommentsId, NULL);
        break;
    case M_EXC:
        append(ctx, xmlSecTransformExclC14NId, NULL);
        break;
    case M_EXC_COMMENTS:
        append(ctx, xmlSecTransformExclC14NWithCommentsId, NULL);
        break;
    case M_ENVELOPED: {
        xmlNodePtr sig = first_signature(doc->children);
        /* The Signature element itself as here node: xmlsec looks for the enclosing
         * Signature starting at the here node, so this names exactly this element
         * even when another Signature is nested inside it. */
        if (sig != NULL) {
            append(ctx, xmlSecTransformEnvelopedId, sig);
        }
        append(ctx, xmlSecTransformInclC14NId, NULL);
        break;
    }
    }

    /* The whole document: every child of the document node and their subtrees,
     * comments included. */
    xmlSecNodeSetPtr nodes = xmlSecNodeSetGetChildren(doc, NULL, 1, 0);
    if (nodes == NULL) {
        fail("xmlSecNodeSetGetChildren failed");
    }
    if (xmlSecTransformCtxXmlExecute(ctx, nodes) < 0 || ctx->result == NULL) {
        fail("transform %s failed on %s", uri, in);
    }
    write_all(out, xmlSecBufferGetData(ctx->result), xmlSecBufferGetSize(ctx->result));

    /* The transforms point into the node set (the enveloped one even returns it,
     * extended), so the chain goes first. */
    xmlSecTransformCtxDestroy(ctx);
    xmlSecNodeSetDestroy(nodes);
    xmlFreeDoc(doc);
    xmlSecShutdown();
    xmlCleanupParser();
    return 0;
}
