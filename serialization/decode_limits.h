// The limits of a "bins11n" reader (zubBinDeserializer), in one place.
//
// The decoding budget. A value that takes one byte on the wire (nil) takes 16 bytes in
// memory, and an object of a few bytes takes an allocation of a hundred; so a message
// of legal size could make its reader hold many times its size. The reader therefore
// charges what a message makes, and refuses the message ("message would take more than
// <n> bytes of memory per byte read") as soon as the charges exceed
//   allowance + maxBytesPerByteRead * (bytes the reader has consumed so far),
// long before a hostile message has made much. The charges are never given back while
// the message is read:
//   sequence made in place  its size plus kZubDecodeAllocationCost, plus its elements'
//                           room (16 bytes per value, 8 per string) as the room is
//                           made: at first for at most kZubSequenceReserveMax
//                           elements, then growing by half at a time, never beyond the
//                           count on the wire. The first room on the heap is charged
//                           whole with kZubDecodeAllocationCost (the first room stays
//                           allocated), each later one the room it adds
//   other object            kZubDecodeObjectCost
//   string buffer made      its bytes plus kZubDecodeStringCost, once its bytes have
//                           been read; a string above 64 KiB costs its bytes twice
//                           (from a stream that is not a memory stream its room
//                           grows as they arrive, old and new room held at once;
//                           the same charge from a memory stream). Short texts that the
//                           reader keeps for reuse cost nothing when they recur, the
//                           nil string nothing
//   value read by readAny   sizeof(xany) (for the descriptors that keep what they read)
// Integers, reals and the like read into an object's own fields cost nothing more than
// the object, and what a descriptor or listener allocates on its own is not seen.
// While a sequence's room grows, its old room is held beside the new one until the
// elements have moved; that moment is not charged.
//
// With the defaults an honest list of ints (5 bytes each on the wire, at most 24 bytes
// each in memory while the room grows) and a list of short strings stay well within the
// budget; long lists of values of 1 to 3 bytes (nil, bool, byte, short, empty strings
// as values), empty objects and sequences, and sequences of a few nils do not, and are
// refused once they have made about the allowance.
#ifndef ZUBJEX_SERIALIZATION_DECODE_LIMITS_H_
#define ZUBJEX_SERIALIZATION_DECODE_LIMITS_H_

#include <cstdint>

// What the allocator takes beside each block that the reader allocates.
constexpr uint64_t kZubDecodeAllocationCost = 16;
// An object made by its descriptor: its header, a few fields and the allocator's share.
constexpr uint64_t kZubDecodeObjectCost = 64;
// A string buffer beside its bytes: its header, the terminating NUL and the allocator's
// share.
constexpr uint64_t kZubDecodeStringCost = 32;

struct zubBinDecodeLimits {
  // The default of maxObjectDepth.
  static constexpr int kDefaultMaxObjectDepth = 64;

  // Bytes of memory that a message may make per byte of it read (see above). Stops a
  // message of small values (millions of nils, empty strings, empty objects) from
  // making its reader hold many times its size: a 16 MiB request of one-byte nils would
  // otherwise hold more than 300 MiB. Raise it for hosts that send long lists of nils,
  // bools, bytes or shorts; UINT32_MAX switches the budget off in practice.
  uint32_t maxBytesPerByteRead = 7;

  // Bytes of memory that any message may make beyond that, so that small messages,
  // whose fixed parts (the first objects, the names) cost more than their bytes, always
  // pass. Bounds what a hostile message makes before it is refused.
  uint64_t allowance = 64 * 1024;

  // Deepest nesting of objects inside objects ("object nesting too deep" beyond it).
  // Stops a message of nested objects from exhausting the reader's stack.
  int maxObjectDepth = kDefaultMaxObjectDepth;
};

#endif  // ZUBJEX_SERIALIZATION_DECODE_LIMITS_H_
