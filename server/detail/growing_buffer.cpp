#include "server/detail/growing_buffer.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

// The most that a buffer grows ahead of the bytes received, at first: a length field
// alone never makes the server allocate more.
constexpr size_t kReceiveChunk = 4 * 1024;

}  // namespace

void zubJexGrowingBuffer::grow(size_t used, size_t needed, size_t limit) {
  if (used + needed <= capacity_) return;
  const size_t size =
      std::max(used + needed, std::min(limit, used + std::max(used, kReceiveChunk)));
  std::unique_ptr<uint8_t[]> grown(new uint8_t[size]);
  if (used != 0) std::memcpy(grown.get(), data_.get(), used);
  data_ = std::move(grown);
  capacity_ = size;
}

void zubJexGrowingBuffer::trim(size_t keep) {
  if (capacity_ <= keep) return;
  data_.reset();
  capacity_ = 0;
}
