// The interfaces through which object contents are written and read, whatever the
// encoding: type descriptors and listeners see only these.
#ifndef ZUBJEX_SERIALIZATION_SERIALIZER_H_
#define ZUBJEX_SERIALIZATION_SERIALIZER_H_

#include <cstdint>

#include "platform/xany.h"
#include "platform/xobject.h"
#include "platform/xstring.h"
#include "serialization/export.h"

// Writes the fields of one message in order. Every operation raises (through xthrow)
// on failure; what was written before stays written. Never deleted through this
// interface.
class ZUBJEX_EXPORT zubSerializer {
 public:
  zubSerializer() = default;
  virtual void writeBool(unsigned char value) = 0;
  virtual void writeByte(signed char value) = 0;
  virtual void writeShort(short value) = 0;
  virtual void writeInt(int value) = 0;
  virtual void writeLong(int64_t value) = 0;
  virtual void writeReal(double value) = 0;
  virtual void writeString(xstring value) = 0;
  // `object` may be null.
  virtual void writeObject(xobject* object) = 0;
  virtual void writeAny(xany value) = 0;

 protected:
  ~zubSerializer() = default;
};

// Reads the fields of one message in the order they were written. Every operation
// raises (through xthrow) on failure; what was consumed stays consumed.
class ZUBJEX_EXPORT zubDeserializer {
 public:
  zubDeserializer() = default;
  virtual void readBool(unsigned char& value) = 0;
  virtual void readByte(signed char& value) = 0;
  virtual void readShort(short& value) = 0;
  virtual void readInt(int& value) = 0;
  virtual void readLong(int64_t& value) = 0;
  virtual void readReal(double& value) = 0;
  virtual void readString(xstring& value) = 0;
  // The object read (null for a null object) with no reference of its own: the
  // caller must take it into a handle or an xany.
  virtual void readObject(xobject*& object) = 0;
  virtual void readAny(xany& value) = 0;

 protected:
  ~zubDeserializer() = default;
};

#endif  // ZUBJEX_SERIALIZATION_SERIALIZER_H_
