#include "test_support/test_certificates.h"

#include <openssl/bn.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <memory>
#include <stdexcept>
#include <vector>

namespace jex_test {
namespace {

constexpr long kDay = 24 * 60 * 60;

struct KeyFree {
  void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};
struct CertFree {
  void operator()(X509* cert) const { X509_free(cert); }
};
struct ExtFree {
  void operator()(X509_EXTENSION* ext) const { X509_EXTENSION_free(ext); }
};
using Key = std::unique_ptr<EVP_PKEY, KeyFree>;
using Cert = std::unique_ptr<X509, CertFree>;

[[noreturn]] void fail(const std::string& what) {
  char reason[256] = "";
  ERR_error_string_n(ERR_get_error(), reason, sizeof(reason));
  ERR_clear_error();
  throw std::runtime_error("test certificates: " + what + ": " + reason);
}

void check(bool ok, const char* what) {
  if (!ok) fail(what);
}

Key newKey() {
  Key key(EVP_EC_gen("P-256"));
  check(key != nullptr, "cannot make a key");
  return key;
}

// Adds the extension `nid` with `value` in openssl's configuration syntax.
void addExtension(X509* cert, X509* issuer, int nid, const char* value) {
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, cert, nullptr, nullptr, 0);
  std::unique_ptr<X509_EXTENSION, ExtFree> ext(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
  check(ext != nullptr && X509_add_ext(cert, ext.get(), -1) == 1, "cannot add an extension");
}

// What one certificate says: its subject and, for a server, the names it is for.
struct Profile {
  const char* organization;
  const char* commonName;
  const char* altNames;  // subjectAltName, or null
  bool isCa;
  long notBefore;  // seconds from now
  long notAfter;
};

// A certificate for `key` described by `profile`, signed by `issuerKey` as `issuer`
// (self-signed when `issuer` is null).
Cert makeCert(const Profile& profile, EVP_PKEY* key, X509* issuer, EVP_PKEY* issuerKey) {
  static long serial = 1;
  Cert cert(X509_new());
  check(cert != nullptr, "cannot make a certificate");
  X509_set_version(cert.get(), 2);
  ASN1_INTEGER_set(X509_get_serialNumber(cert.get()), serial++);
  X509_gmtime_adj(X509_getm_notBefore(cert.get()), profile.notBefore);
  X509_gmtime_adj(X509_getm_notAfter(cert.get()), profile.notAfter);
  X509_NAME* name = X509_get_subject_name(cert.get());
  X509_NAME_add_entry_by_txt(name, "O", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(profile.organization), -1, -1,
                             0);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC,
                             reinterpret_cast<const unsigned char*>(profile.commonName), -1, -1, 0);
  X509* signer = issuer != nullptr ? issuer : cert.get();
  X509_set_issuer_name(cert.get(), X509_get_subject_name(signer));
  check(X509_set_pubkey(cert.get(), key) == 1, "cannot set a public key");
  addExtension(cert.get(), signer, NID_subject_key_identifier, "hash");
  if (profile.isCa) {
    addExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:TRUE");
    addExtension(cert.get(), signer, NID_key_usage, "critical,keyCertSign,cRLSign");
  } else {
    addExtension(cert.get(), signer, NID_authority_key_identifier, "keyid");
    addExtension(cert.get(), signer, NID_basic_constraints, "critical,CA:FALSE");
    addExtension(cert.get(), signer, NID_key_usage, "critical,digitalSignature");
    addExtension(cert.get(), signer, NID_ext_key_usage,
                 profile.altNames != nullptr ? "serverAuth" : "clientAuth");
  }
  if (profile.altNames != nullptr) {
    addExtension(cert.get(), signer, NID_subject_alt_name, profile.altNames);
  }
  check(X509_sign(cert.get(), issuerKey != nullptr ? issuerKey : key, EVP_sha256()) != 0,
        "cannot sign a certificate");
  return cert;
}

// Opens `path` for writing (in a folder that only its owner may enter).
FILE* create(const std::string& path) {
  FILE* file = std::fopen(path.c_str(), "w");
  if (file == nullptr) throw std::runtime_error("test certificates: cannot write " + path);
  return file;
}

void writeCert(const std::string& path, X509* cert) {
  FILE* file = create(path);
  const bool ok = PEM_write_X509(file, cert) == 1;
  std::fclose(file);
  check(ok, "cannot write a certificate");
}

void writeKey(const std::string& path, EVP_PKEY* key) {
  FILE* file = create(path);
  const bool ok = PEM_write_PrivateKey(file, key, nullptr, nullptr, 0, nullptr, nullptr) == 1;
  std::fclose(file);
  check(ok, "cannot write a key");
}

// The folder and the files in it; removes them when the program ends.
class CertificateFiles {
 public:
  CertificateFiles() { make(); }
  ~CertificateFiles() {
    for (const std::string& path : written_) ::unlink(path.c_str());
    if (!certs_.folder.empty()) ::rmdir(certs_.folder.c_str());
  }
  CertificateFiles(const CertificateFiles&) = delete;
  CertificateFiles& operator=(const CertificateFiles&) = delete;

  const TestCertificates& certificates() const { return certs_; }

 private:
  void make();
  std::string path(const char* name) {
    written_.push_back(certs_.folder + "/" + name);
    return written_.back();
  }
  // Makes a key and a certificate for `profile` issued by `issuer`, and writes both.
  void leaf(const Profile& profile, X509* issuer, EVP_PKEY* issuerKey, std::string& certPath,
            const char* certName, std::string& keyPath, const char* keyName) {
    Key key = newKey();
    Cert cert = makeCert(profile, key.get(), issuer, issuerKey);
    certPath = path(certName);
    writeCert(certPath, cert.get());
    keyPath = path(keyName);
    writeKey(keyPath, key.get());
  }

  TestCertificates certs_;
  std::vector<std::string> written_;
};

void CertificateFiles::make() {
  const char* tmp = std::getenv("TMPDIR");
  std::string folder =
      std::string(tmp != nullptr && *tmp != '\0' ? tmp : "/tmp") + "/jexcertsXXXXXX";
  if (::mkdtemp(&folder[0]) == nullptr) {
    throw std::runtime_error("test certificates: cannot make a folder in " + folder);
  }
  certs_.folder = folder;
  const char* local = "IP:127.0.0.1,IP:::1,DNS:localhost";
  const long valid = 10 * 365 * kDay;

  Key caKey = newKey();
  Cert ca = makeCert({"zubjex tests", "jex-test-ca", nullptr, true, -kDay, valid}, caKey.get(),
                     nullptr, nullptr);
  certs_.caCert = path("ca.pem");
  writeCert(certs_.caCert, ca.get());
  leaf({"zubjex tests", "jex-test-server", local, false, -kDay, valid}, ca.get(), caKey.get(),
       certs_.serverCert, "server.pem", certs_.serverKey, "server-key.pem");
  leaf({"zubjex tests", "jex-test-client", nullptr, false, -kDay, valid}, ca.get(), caKey.get(),
       certs_.clientCert, "client.pem", certs_.clientKey, "client-key.pem");
  leaf({"zubjex tests", "jex-test-expired", local, false, -2 * kDay, -kDay}, ca.get(), caKey.get(),
       certs_.expiredServerCert, "expired.pem", certs_.expiredServerKey, "expired-key.pem");
  leaf({"zubjex tests", "other.invalid", "DNS:other.invalid", false, -kDay, valid}, ca.get(),
       caKey.get(), certs_.otherHostServerCert, "other-host.pem", certs_.otherHostServerKey,
       "other-host-key.pem");

  Key strangerKey = newKey();
  Cert stranger = makeCert({"somebody else", "unknown-ca", nullptr, true, -kDay, valid},
                           strangerKey.get(), nullptr, nullptr);
  certs_.unknownCaCert = path("unknown-ca.pem");
  writeCert(certs_.unknownCaCert, stranger.get());
  leaf({"somebody else", "jex-test-server", local, false, -kDay, valid}, stranger.get(),
       strangerKey.get(), certs_.unknownCaServerCert, "unknown-ca-server.pem",
       certs_.unknownCaServerKey, "unknown-ca-server-key.pem");
}

}  // namespace

const TestCertificates& testCertificates() {
  static CertificateFiles files;
  return files.certificates();
}

}  // namespace jex_test
