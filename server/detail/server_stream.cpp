#include "server/detail/server_stream.h"

#include <openssl/bio.h>
#include <openssl/ssl.h>
#include <openssl/x509.h>

#include "transport/address.h"

namespace {

std::string subjectOf(X509* certificate) {
  BIO* out = BIO_new(BIO_s_mem());
  if (out == nullptr) return std::string();
  X509_NAME_print_ex(out, X509_get_subject_name(certificate), 0, XN_FLAG_RFC2253);
  char* text = nullptr;
  const long size = BIO_get_mem_data(out, &text);
  std::string subject(text, size > 0 ? static_cast<size_t>(size) : 0);
  BIO_free(out);
  return subject;
}

}  // namespace

zubJexServerStream::zubJexServerStream(Socket socket, boost::asio::ssl::context* tls)
    : plain_(socket.get_executor()) {
  if (tls == nullptr) {
    plain_ = std::move(socket);
    // readAvailable and writeAvailable never wait; the asynchronous operations work
    // alike on a non-blocking socket.
    boost::system::error_code ignored;
    plain_.non_blocking(true, ignored);
  } else {
    tls_.reset(new boost::asio::ssl::stream<Socket>(std::move(socket), *tls));
  }
}

std::string zubJexServerStream::peerAddress() {
  boost::system::error_code error;
  boost::asio::ip::tcp::endpoint peer = socket().remote_endpoint(error);
  if (error) return "?";
  return zubTcpFormatAddress(peer.address().to_string(), peer.port());
}

std::string zubJexServerStream::peerSubject() {
  if (!tls_) return std::string();
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
  X509* certificate = SSL_get1_peer_certificate(tls_->native_handle());
#else
  X509* certificate = SSL_get_peer_certificate(tls_->native_handle());
#endif
  if (certificate == nullptr) return std::string();
  std::string subject;
  if (SSL_get_verify_result(tls_->native_handle()) == X509_V_OK) subject = subjectOf(certificate);
  X509_free(certificate);
  return subject;
}

void zubJexServerStream::close() {
  boost::system::error_code ignored;
  socket().close(ignored);
}
