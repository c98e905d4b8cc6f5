// A third, independent XML-signature peer: Apache Santuario (Java), as Debian ships it.
// It shares no code with xmlsec1 or libxml2, so a document that both it and xmlsec1
// accept is unlikely to pass only because of a quirk the DLL happens to share.
// Run through santuario-verify.sh / santuario-signedinfo.sh, which compile it once.
//
//   verify [--doc-key] KIND FILE.xml KEYDIR
//   signedinfo [--direct] FILE.xml OUT
//   signaturevalue FILE.xml OUT
//
// Exit: 0 success (verified / written), 1 not verified or the document is unusable,
// 2 usage or setup error (bad arguments, missing or unreadable key).

import java.io.ByteArrayInputStream;
import java.io.File;
import java.io.IOException;
import java.io.InputStream;
import java.nio.charset.StandardCharsets;
import java.nio.file.Files;
import java.security.GeneralSecurityException;
import java.security.Key;
import java.security.KeyFactory;
import java.security.PublicKey;
import java.security.cert.CertificateFactory;
import java.security.cert.X509Certificate;
import java.security.spec.X509EncodedKeySpec;
import java.util.Base64;
import java.util.List;

import javax.crypto.spec.SecretKeySpec;
import javax.xml.XMLConstants;
import javax.xml.parsers.DocumentBuilder;
import javax.xml.parsers.DocumentBuilderFactory;

import org.apache.xml.security.Init;
import org.apache.xml.security.c14n.Canonicalizer;
import org.apache.xml.security.keys.KeyInfo;
import org.apache.xml.security.signature.SignedInfo;
import org.apache.xml.security.signature.VerifiedReference;
import org.apache.xml.security.signature.XMLSignature;
import org.apache.xml.security.utils.resolver.implementations.ResolverLocalFilesystem;
import org.w3c.dom.Attr;
import org.w3c.dom.Document;
import org.w3c.dom.Element;
import org.w3c.dom.NamedNodeMap;
import org.w3c.dom.Node;

public final class SantuarioPeer {
    private static final String DSIG = "http://www.w3.org/2000/09/xmldsig#";
    private static final String DSIG_MORE = "http://www.w3.org/2001/04/xmldsig-more#";
    private static final String EXC_C14N = "http://www.w3.org/2001/10/xml-exc-c14n#";

    /** Exit with a code, after the message; thrown rather than System.exit'd mid-way. */
    private static final class Exit extends Exception {
        final int code;

        Exit(int code, String message) {
            super(message);
            this.code = code;
        }
    }

    private static final String USAGE =
        "usage: SantuarioPeer verify [--doc-key] KIND FILE.xml KEYDIR\n"
        + "       SantuarioPeer signedinfo [--direct] FILE.xml OUT\n"
        + "       SantuarioPeer signaturevalue FILE.xml OUT\n"
        + "KIND: rsa-sha1 rsa-sha256 rsa-sha384 rsa-sha512 dsa-sha1\n"
        + "      hmac-sha1 hmac-sha256 hmac-sha384 hmac-sha512";

    public static void main(String[] args) {
        int code;
        try {
            code = run(args);
        } catch (Exit e) {
            if (e.getMessage() != null) {
                System.err.println("SantuarioPeer: " + e.getMessage());
            }
            code = e.code;
        } catch (Exception e) {
            // Anything Santuario throws while reading the document is the document's
            // fault as far as a verifier is concerned: report it as "not verified".
            System.err.println("SantuarioPeer: " + describe(e));
            code = 1;
        }
        System.exit(code);
    }

    private static int run(String[] args) throws Exception {
        if (args.length == 0) {
            throw new Exit(2, USAGE);
        }
        String mode = args[0];
        int i = 1;
        boolean flag = false;
        String flagName = mode.equals("verify") ? "--doc-key" : "--direct";
        if (args.length > i && args[i].equals(flagName)) {
            flag = true;
            i++;
        }
        int rest = args.length - i;
        switch (mode) {
            case "verify":
                if (rest != 3) {
                    throw new Exit(2, USAGE);
                }
                return verify(args[i], new File(args[i + 1]), new File(args[i + 2]), flag);
            case "signedinfo":
                if (rest != 2) {
                    throw new Exit(2, USAGE);
                }
                write(new File(args[i + 1]), signedInfo(new File(args[i]), flag));
                return 0;
            case "signaturevalue":
                if (rest != 2 || flag) {
                    throw new Exit(2, USAGE);
                }
                write(new File(args[i + 1]), signatureValue(new File(args[i])));
                return 0;
            default:
                throw new Exit(2, USAGE);
        }
    }

    // ---- KIND ----------------------------------------------------------------------

    private static final class Kind {
        final String sigUri;
        final String key;        // rsa, dsa, hmac: the file stem in KEYDIR
        final String jceKey;     // KeyFactory / SecretKeySpec algorithm

        Kind(String sigUri, String key, String jceKey) {
            this.sigUri = sigUri;
            this.key = key;
            this.jceKey = jceKey;
        }
    }

    private static Kind kind(String name) throws Exit {
        switch (name) {
            case "rsa-sha1":    return new Kind(DSIG + "rsa-sha1", "rsa", "RSA");
            case "rsa-sha256":  return new Kind(DSIG_MORE + "rsa-sha256", "rsa", "RSA");
            case "rsa-sha384":  return new Kind(DSIG_MORE + "rsa-sha384", "rsa", "RSA");
            case "rsa-sha512":  return new Kind(DSIG_MORE + "rsa-sha512", "rsa", "RSA");
            case "dsa-sha1":    return new Kind(DSIG + "dsa-sha1", "dsa", "DSA");
            case "hmac-sha1":   return new Kind(DSIG + "hmac-sha1", "hmac", "HmacSHA1");
            case "hmac-sha256": return new Kind(DSIG_MORE + "hmac-sha256", "hmac", "HmacSHA256");
            case "hmac-sha384": return new Kind(DSIG_MORE + "hmac-sha384", "hmac", "HmacSHA384");
            case "hmac-sha512": return new Kind(DSIG_MORE + "hmac-sha512", "hmac", "HmacSHA512");
            default:
                throw new Exit(2, "unknown kind '" + name + "'\n" + USAGE);
        }
    }

    // ---- the document --------------------------------------------------------------

    private static Document parse(File file) throws Exception {
        DocumentBuilderFactory f = DocumentBuilderFactory.newInstance();
        f.setNamespaceAware(true);
        // Internal DTD subsets stay allowed (test documents declare ID attributes in
        // them), but nothing outside the file is fetched while parsing.
        f.setFeature("http://apache.org/xml/features/nonvalidating/load-external-dtd", false);
        f.setFeature("http://xml.org/sax/features/external-general-entities", false);
        f.setFeature("http://xml.org/sax/features/external-parameter-entities", false);
        f.setXIncludeAware(false);
        f.setExpandEntityReferences(true);
        DocumentBuilder b = f.newDocumentBuilder();
        b.setErrorHandler(null);
        try (InputStream in = Files.newInputStream(file.toPath())) {
            return b.parse(in, file.toURI().toString());
        }
    }

    private static Element firstSignature(Document doc, File file) throws Exit {
        Node n = doc.getElementsByTagNameNS(DSIG, "Signature").item(0);
        if (n == null) {
            throw new Exit(1, file + ": no ds:Signature element");
        }
        return (Element) n;
    }

    private static Element child(Element parent, String ns, String local) {
        for (Node n = parent.getFirstChild(); n != null; n = n.getNextSibling()) {
            if (n.getNodeType() == Node.ELEMENT_NODE && ns.equals(n.getNamespaceURI())
                    && local.equals(n.getLocalName())) {
                return (Element) n;
            }
        }
        return null;
    }

    private static Element requireChild(Element parent, String local, File file) throws Exit {
        Element e = child(parent, DSIG, local);
        if (e == null) {
            throw new Exit(1, file + ": ds:" + parent.getLocalName() + " has no ds:" + local);
        }
        return e;
    }

    // Santuario resolves "#id" only through DOM ID attributes, and a parser declares
    // none without a DTD. Any attribute called Id, ID or id counts, whatever its
    // namespace (wsu:Id, xml:id), as the DLL's dereferencing does not care either.
    private static void registerIds(Node node) {
        if (node.getNodeType() == Node.ELEMENT_NODE) {
            Element e = (Element) node;
            NamedNodeMap attrs = e.getAttributes();
            for (int i = 0; i < attrs.getLength(); i++) {
                Attr a = (Attr) attrs.item(i);
                if (XMLConstants.XMLNS_ATTRIBUTE_NS_URI.equals(a.getNamespaceURI())) {
                    continue;
                }
                String local = a.getLocalName() != null ? a.getLocalName() : a.getName();
                if (local.equals("Id") || local.equals("ID") || local.equals("id")) {
                    e.setIdAttributeNode(a, true);
                }
            }
        }
        for (Node c = node.getFirstChild(); c != null; c = c.getNextSibling()) {
            registerIds(c);
        }
    }

    private static XMLSignature load(Element sigElement, File file) throws Exception {
        // Secure validation off: it refuses what the DLL must still handle (MD5, local
        // files, more than five transforms; see the README), and this peer judges
        // signatures, not policy. The base URI makes relative Reference URIs name
        // files next to the document, whatever the current directory.
        XMLSignature sig = new XMLSignature(sigElement, file.toURI().toString(), false);
        // Santuario 2.1 happens to register this resolver globally too; asking for it
        // here keeps detached references working should a later version stop doing so.
        sig.addResourceResolver(new ResolverLocalFilesystem());
        return sig;
    }

    // ---- verify --------------------------------------------------------------------

    private static int verify(String kindName, File file, File keyDir, boolean docKey)
            throws Exception {
        Kind kind = kind(kindName);
        if (!file.isFile()) {
            throw new Exit(2, file + " not found");
        }
        if (!keyDir.isDirectory()) {
            throw new Exit(2, keyDir + ": no such directory");
        }
        // The key from KEYDIR is loaded first so that setup errors stay exit 2.
        Key key = null;
        X509Certificate trusted = null;
        if (kind.key.equals("hmac")) {
            key = new SecretKeySpec(readKeyFile(new File(keyDir, "hmac.key")), kind.jceKey);
        } else if (!docKey) {
            key = readPublicKey(new File(keyDir, kind.key + "-pub.pem"), kind.jceKey);
        } else {
            File certFile = new File(keyDir, kind.key + "-cert.pem");
            if (certFile.isFile()) {
                trusted = readCertificate(certFile);
            }
        }

        Init.init();
        Document doc = parse(file);
        registerIds(doc.getDocumentElement());
        Element sigElement = firstSignature(doc, file);

        // Compared before Santuario sees the document, so that a document with another
        // (or an unknown) algorithm fails plainly for the kind asked for.
        Element si = requireChild(sigElement, "SignedInfo", file);
        Element sm = requireChild(si, "SignatureMethod", file);
        String uri = sm.getAttributeNS(null, "Algorithm");
        if (!uri.equals(kind.sigUri)) {
            throw new Exit(1, file + ": SignatureMethod is " + uri + ", not " + kind.sigUri
                + " (kind " + kindName + ")");
        }

        XMLSignature sig = load(sigElement, file);
        String keySource = "KEYDIR " + keyDir;
        boolean ok;
        if (key != null) {
            ok = sig.checkSignatureValue(key);
        } else {
            KeyInfo ki = sig.getKeyInfo();
            if (ki == null) {
                throw new Exit(1, file + ": --doc-key but the signature has no KeyInfo");
            }
            PublicKey pub = null;
            for (int i = 0; i < ki.lengthKeyValue() && pub == null; i++) {
                pub = ki.itemKeyValue(i).getPublicKey();
            }
            if (pub != null) {
                keySource = "the document's KeyValue";
                ok = sig.checkSignatureValue(pub);
            } else {
                X509Certificate cert = ki.containsX509Data() ? ki.getX509Certificate() : null;
                if (cert == null) {
                    throw new Exit(1, file + ": --doc-key but KeyInfo has no usable KeyValue"
                        + " or X509Certificate");
                }
                if (trusted == null) {
                    throw new Exit(2, new File(keyDir, kind.key + "-cert.pem")
                        + " not found (needed to trust the document's certificate)");
                }
                String why = untrusted(cert, trusted);
                if (why != null) {
                    throw new Exit(1, file + ": the document's certificate ("
                        + cert.getSubjectX500Principal() + ") is not trusted: " + why);
                }
                keySource = "the document's X509Certificate";
                ok = sig.checkSignatureValue(cert);
            }
        }

        // checkSignatureValue looks at the references only once the SignatureValue is
        // good; when it is not, work them out anyway so the report says what broke.
        SignedInfo signedInfo = sig.getSignedInfo();
        List<VerifiedReference> results = signedInfo.getVerificationResults();
        boolean valueGood = signedInfo.getLength() == 0 ? ok : !results.isEmpty();
        System.err.println("SantuarioPeer: " + file + ": SignatureValue "
            + (valueGood ? "verifies" : "does not verify") + " with " + keySource);
        for (int i = 0; i < signedInfo.getLength(); i++) {
            String uriText = signedInfo.item(i).getURI();
            String state;
            try {
                state = signedInfo.getVerificationResult(i) ? "digest matches" : "digest DIFFERS";
            } catch (Exception e) {
                state = "cannot be checked: " + describe(e);
            }
            System.err.println("SantuarioPeer:   Reference " + i + " URI=\""
                + (uriText == null ? "(none)" : uriText) + "\": " + state);
        }
        if (!ok) {
            System.err.println("SantuarioPeer: " + file + " does not verify (" + kindName + ")");
            return 1;
        }
        return 0;
    }

    // One level of trust is all the peer keys need: the trusted certificate itself, or
    // one it issued. Validity dates count, as they do for xmlsec1.
    private static String untrusted(X509Certificate cert, X509Certificate trusted) {
        try {
            cert.checkValidity();
        } catch (GeneralSecurityException e) {
            return "outside its validity period";
        }
        if (cert.equals(trusted)) {
            return null;
        }
        if (!cert.getIssuerX500Principal().equals(trusted.getSubjectX500Principal())) {
            return "not issued by " + trusted.getSubjectX500Principal();
        }
        try {
            cert.verify(trusted.getPublicKey());
            return null;
        } catch (GeneralSecurityException e) {
            return "its signature does not verify with the trusted certificate's key";
        }
    }

    private static byte[] readKeyFile(File f) throws Exit {
        try {
            byte[] b = Files.readAllBytes(f.toPath());
            if (b.length == 0) {
                throw new Exit(2, f + " is empty");
            }
            return b;
        } catch (IOException e) {
            throw new Exit(2, f + ": cannot read (" + e.getMessage() + ")");
        }
    }

    private static byte[] pemBody(File f, String label) throws Exit {
        String text = new String(readKeyFile(f), StandardCharsets.US_ASCII);
        String begin = "-----BEGIN " + label + "-----";
        String end = "-----END " + label + "-----";
        int b = text.indexOf(begin);
        int e = b < 0 ? -1 : text.indexOf(end, b);
        if (b < 0 || e < 0) {
            throw new Exit(2, f + ": no PEM " + label);
        }
        String body = text.substring(b + begin.length(), e).replaceAll("\\s", "");
        try {
            return Base64.getDecoder().decode(body);
        } catch (IllegalArgumentException x) {
            throw new Exit(2, f + ": bad Base64 in PEM " + label);
        }
    }

    private static PublicKey readPublicKey(File f, String algorithm) throws Exit {
        byte[] der = pemBody(f, "PUBLIC KEY");
        try {
            return KeyFactory.getInstance(algorithm).generatePublic(new X509EncodedKeySpec(der));
        } catch (GeneralSecurityException e) {
            throw new Exit(2, f + ": not an " + algorithm + " SubjectPublicKeyInfo ("
                + e.getMessage() + ")");
        }
    }

    private static X509Certificate readCertificate(File f) throws Exit {
        byte[] der = pemBody(f, "CERTIFICATE");
        try {
            return (X509Certificate) CertificateFactory.getInstance("X.509")
                .generateCertificate(new ByteArrayInputStream(der));
        } catch (GeneralSecurityException e) {
            throw new Exit(2, f + ": not a certificate (" + e.getMessage() + ")");
        }
    }

    // ---- signedinfo / signaturevalue -----------------------------------------------

    private static byte[] signedInfo(File file, boolean direct) throws Exception {
        if (!file.isFile()) {
            throw new Exit(2, file + " not found");
        }
        Init.init();
        Document doc = parse(file);
        registerIds(doc.getDocumentElement());
        Element sigElement = firstSignature(doc, file);
        Element si = requireChild(sigElement, "SignedInfo", file);
        if (!direct) {
            try {
                return load(sigElement, file).getSignedInfo().getCanonicalizedOctetStream();
            } catch (Exception e) {
                // Santuario refuses a SignedInfo whose algorithms it does not know (the
                // GOST ones, for one); the canonical form does not depend on them.
                System.err.println("SantuarioPeer: XMLSignature refused the signature ("
                    + describe(e) + "); canonicalizing ds:SignedInfo directly");
            }
        }
        return canonicalizeDirectly(si, file);
    }

    // The SignedInfo subtree as it sits in the document, so inherited namespace
    // declarations (and, for inclusive c14n, xml:* attributes) come along exactly as
    // a verifier sees them.
    private static byte[] canonicalizeDirectly(Element si, File file) throws Exception {
        Element cm = requireChild(si, "CanonicalizationMethod", file);
        String alg = cm.getAttributeNS(null, "Algorithm");
        Canonicalizer c14n = Canonicalizer.getInstance(alg);
        Element incl = child(cm, EXC_C14N, "InclusiveNamespaces");
        if (incl != null && incl.hasAttributeNS(null, "PrefixList")) {
            return c14n.canonicalizeSubtree(si, incl.getAttributeNS(null, "PrefixList"));
        }
        return c14n.canonicalizeSubtree(si);
    }

    private static byte[] signatureValue(File file) throws Exception {
        if (!file.isFile()) {
            throw new Exit(2, file + " not found");
        }
        Document doc = parse(file);
        Element sv = requireChild(firstSignature(doc, file), "SignatureValue", file);
        String text = sv.getTextContent().replaceAll("[ \t\r\n]", "");
        try {
            return Base64.getDecoder().decode(text);
        } catch (IllegalArgumentException e) {
            throw new Exit(1, file + ": SignatureValue is not Base64");
        }
    }

    private static void write(File out, byte[] data) throws Exit {
        try {
            Files.write(out.toPath(), data);
        } catch (IOException e) {
            throw new Exit(2, out + ": cannot write (" + e.getMessage() + ")");
        }
    }

    private static String describe(Throwable e) {
        StringBuilder b = new StringBuilder();
        for (Throwable t = e; t != null; t = t.getCause()) {
            if (b.length() > 0) {
                b.append(" <- ");
            }
            b.append(t.getClass().getSimpleName());
            if (t.getMessage() != null) {
                b.append(": ").append(t.getMessage().trim());
            }
            if (t.getCause() == t) {
                break;
            }
        }
        return b.toString();
    }
}
