// Small blocks of memory kept per thread for reuse: the runtime's sequences and string
// buffers come and go with every message, and a block taken from the thread's own
// list costs a few instructions where the allocator's round trip costs a hundred.
#ifndef ZUBJEX_PLATFORM_BLOCK_CACHE_H_
#define ZUBJEX_PLATFORM_BLOCK_CACHE_H_

#include <cstddef>

#include "platform/export.h"

// A block of at least `size` bytes, aligned as malloc aligns. Every block is a block of
// malloc's, of the size class of `size`: std::free and std::realloc accept it as well
// as btkBlockGive. Raises std::bad_alloc when no memory can be had. Thread-safe (each
// thread takes from its own list).
ZUBPLATFORM_EXPORT void* btkBlockTake(size_t size);

// Gives back a block that btkBlockTake(size) returned, with the same `size`: it is kept
// for the thread's next take of that size class, or freed when the thread keeps enough
// of them. Null is ignored. A block may be given back on any thread. The blocks that a
// thread keeps are freed when it ends. Built with a sanitizer, nothing is kept (every
// block goes straight back to the allocator, where use after free is caught).
ZUBPLATFORM_EXPORT void btkBlockGive(void* block, size_t size);

// Makes a block that btkBlockTake returned (or that this made) hold at least `size`
// bytes, keeping its first bytes up to the smaller size; afterwards it is a block of
// `size` for btkBlockGive. As std::realloc: the block may move; when no memory can be
// had, null is returned and the block is left as it was.
ZUBPLATFORM_EXPORT void* btkBlockResize(void* block, size_t size);

#endif  // ZUBJEX_PLATFORM_BLOCK_CACHE_H_
