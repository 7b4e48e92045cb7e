// An owned file descriptor: closed when destroyed or replaced. Move-only; one thread
// at a time.
#ifndef ZUBJEX_TRANSPORT_FILE_DESCRIPTOR_H_
#define ZUBJEX_TRANSPORT_FILE_DESCRIPTOR_H_

#include <unistd.h>

#include <utility>

class zubTcpFileDescriptor {
 public:
  zubTcpFileDescriptor() = default;
  explicit zubTcpFileDescriptor(int fd) : fd_(fd) {}
  ~zubTcpFileDescriptor() { reset(); }
  zubTcpFileDescriptor(zubTcpFileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  zubTcpFileDescriptor& operator=(zubTcpFileDescriptor&& other) noexcept {
    if (this != &other) reset(std::exchange(other.fd_, -1));
    return *this;
  }
  zubTcpFileDescriptor(const zubTcpFileDescriptor&) = delete;
  zubTcpFileDescriptor& operator=(const zubTcpFileDescriptor&) = delete;

  int get() const { return fd_; }
  bool isOpen() const { return fd_ >= 0; }
  // Closes the descriptor held (if any) and holds `fd` instead (-1: none).
  void reset(int fd = -1) {
    if (fd_ >= 0) ::close(fd_);
    fd_ = fd;
  }
  // Gives up the descriptor without closing it; the caller owns it from then on.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_ = -1;
};

#endif  // ZUBJEX_TRANSPORT_FILE_DESCRIPTOR_H_
