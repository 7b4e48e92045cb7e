#include "platform/block_cache.h"

#include <cstdlib>
#include <new>

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kKeepBlocks = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr bool kKeepBlocks = false;
#else
constexpr bool kKeepBlocks = true;
#endif
#else
constexpr bool kKeepBlocks = true;
#endif

// Size classes of 64 bytes up to 1 KiB (a sequence with room for a few dozen values, a
// string of a few hundred bytes); larger blocks always go to the allocator. At most
// kKeptPerClass blocks per class are kept: 68 KiB per thread at worst, so that a thread
// that freed many blocks once does not hold them for ever.
constexpr size_t kClassShift = 6;
constexpr size_t kClasses = 16;
constexpr size_t kLargest = kClasses << kClassShift;
constexpr unsigned kKeptPerClass = 4;

struct FreeBlock {
  FreeBlock* next;
};

// Plain data, so that reaching it costs no initialization check (and one look-up of
// the thread's storage); the owner below is made with the first block that the thread
// keeps and frees what the lists hold when the thread ends.
struct FreeList {
  FreeBlock* head;
  unsigned count;
};
struct ThreadBlocks {
  FreeList lists[kClasses + 1];  // indexed by class, 1 to kClasses
  bool ownerMade;
};
thread_local ThreadBlocks threadBlocks;

struct ThreadBlocksOwner {
  ~ThreadBlocksOwner() {
    for (FreeList& list : threadBlocks.lists) {
      while (list.head != nullptr) {
        FreeBlock* block = list.head;
        list.head = block->next;
        std::free(block);
      }
      list.count = 0;
    }
  }
};
thread_local ThreadBlocksOwner threadBlocksOwner;

__attribute__((noinline)) void MakeOwner() {
  (void)&threadBlocksOwner;
  threadBlocks.ownerMade = true;
}

size_t ClassOf(size_t size) { return (size + (size_t{1} << kClassShift) - 1) >> kClassShift; }

// What malloc is asked for a block of `size`: the whole of its class, so that any block
// of the class fits any size of it.
size_t BlockBytes(size_t size) {
  if (size == 0) return 1;
  return kKeepBlocks && size <= kLargest ? ClassOf(size) << kClassShift : size;
}

}  // namespace

void* btkBlockTake(size_t size) {
  if (kKeepBlocks && size <= kLargest) {
    FreeList& list = threadBlocks.lists[ClassOf(size)];
    if (FreeBlock* block = list.head) {
      list.head = block->next;
      --list.count;
      return block;
    }
  }
  void* block = std::malloc(BlockBytes(size));
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void btkBlockGive(void* block, size_t size) {
  if (block == nullptr) return;
  if (kKeepBlocks && size <= kLargest) {
    ThreadBlocks& blocks = threadBlocks;
    FreeList& list = blocks.lists[ClassOf(size)];
    if (list.count < kKeptPerClass) {
      if (!blocks.ownerMade) MakeOwner();
      list.head = new (block) FreeBlock{list.head};
      ++list.count;
      return;
    }
  }
  std::free(block);
}

void* btkBlockResize(void* block, size_t size) { return std::realloc(block, BlockBytes(size)); }
