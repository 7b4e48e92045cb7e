// Certificates for the TLS tests, made with OpenSSL when a test first asks for them and
// written as PEM files into a temporary folder (removed when the program ends): no key is
// ever checked in. Every key is an EC P-256 key, quick to make even under the sanitizers.
//
//   const jex_test::TestCertificates& certs = jex_test::testCertificates();
//   serverOptions.tls.certificateChainFile = certs.serverCert;
//   serverOptions.tls.privateKeyFile = certs.serverKey;
//   clientOptions.caFile = certs.caCert;
#ifndef ZUBJEX_TESTS_TEST_SUPPORT_TEST_CERTIFICATES_H_
#define ZUBJEX_TESTS_TEST_SUPPORT_TEST_CERTIFICATES_H_

#include <string>

namespace jex_test {

// The paths of the PEM files. Each "...Cert" file holds one certificate and each
// "...Key" file the unencrypted private key that goes with it.
struct TestCertificates {
  // The subject of clientCert as the server reports it (RFC 2253, most specific first).
  static constexpr const char* kClientSubject = "CN=jex-test-client,O=zubjex tests";

  std::string folder;  // the temporary folder holding every file

  std::string caCert;  // the CA that signs every certificate below but the unknown one

  // For subjectAltName 127.0.0.1, ::1 and localhost, valid from a day ago for ten years.
  std::string serverCert;
  std::string serverKey;
  // A client certificate whose subject is kClientSubject.
  std::string clientCert;
  std::string clientKey;
  // Like serverCert, but expired yesterday.
  std::string expiredServerCert;
  std::string expiredServerKey;
  // Valid, but for the host name "other.invalid" only.
  std::string otherHostServerCert;
  std::string otherHostServerKey;
  // For 127.0.0.1, ::1 and localhost, signed by unknownCaCert, a CA nobody trusts.
  std::string unknownCaCert;
  std::string unknownCaServerCert;
  std::string unknownCaServerKey;
};

// The certificates of this test program, made on the first call (thread-safe). Raises a
// std::runtime_error when OpenSSL or the file system fails.
const TestCertificates& testCertificates();

}  // namespace jex_test

#endif  // ZUBJEX_TESTS_TEST_SUPPORT_TEST_CERTIFICATES_H_
